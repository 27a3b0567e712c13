// Messages, and the exported functions on them.
#include <cstring>

#include "Z9Internal.h"
#include "Z9MQCodes.h"
#include "Z9MQWire.h"
#include "Z9MsgData.h"

using z9::Guarded;

void Z9Message::SetEncoded(std::string_view name, std::string encoded)
{
    std::optional<std::string> text = z9::wire::DecodeString(encoded);
    properties.insert_or_assign(std::string(name), Property{std::move(encoded), std::move(text)});
}

void Z9Message::SetText(std::string_view name, std::string_view text)
{
    properties.insert_or_assign(std::string(name), Property{z9::wire::EncodeString(text), std::string(text)});
}

void Z9Message::SetNumber(std::string_view name, uint32_t value) { SetEncoded(name, z9::wire::EncodeUInt32(value)); }

const Z9Message::Property* Z9Message::Find(std::string_view name) const noexcept
{
    const auto found = properties.find(name);
    return found == properties.end() ? nullptr : &found->second;
}

z9::MessagePtr z9::MakeMessage() { return MessagePtr(std::make_unique<Z9Message>().release()); }

Z9ERR Z9MsgCreateMessage(Z9Message** message)
{
    return Guarded([&] {
        if (message == nullptr) return z9::kWrongArguments;
        *message = z9::MakeMessage().release();
        return z9::kOk;
    });
}

Z9ERR Z9MsgFreeMessage(Z9Message* message)
{
    const std::unique_ptr<Z9Message> owner(message);
    return z9::kOk;
}

Z9ERR Z9MsgSetFieldStr(Z9Message* message, const char* name, const char* value)
{
    return Guarded([&] {
        if (message == nullptr || name == nullptr || value == nullptr) return z9::kWrongArguments;
        if (!z9::wire::IsPropertyName(name)) return z9::kWrongArguments;
        message->SetText(name, value);
        return z9::kOk;
    });
}

Z9ERR Z9MsgSetFieldUINT32(Z9Message* message, const char* name, uint32_t value)
{
    return Guarded([&] {
        if (message == nullptr || name == nullptr || !z9::wire::IsPropertyName(name)) return z9::kWrongArguments;
        message->SetNumber(name, value);
        return z9::kOk;
    });
}

Z9ERR Z9MsgCopyFieldUINT32(const Z9Message* message, const char* name, uint32_t* value)
{
    return Guarded([&] {
        if (message == nullptr || name == nullptr || value == nullptr) return z9::kWrongArguments;
        const Z9Message::Property* const property = message->Find(name);
        if (property == nullptr) return z9::kNoSuchItem;
        const std::optional<uint32_t> number = z9::wire::DecodeUInt32(property->encoded);
        if (!number) return z9::kWrongArguments;
        *value = *number;
        return z9::kOk;
    });
}

Z9ERR Z9MsgGetStrField(const Z9Message* message, const char* name, const char** value)
{
    return Guarded([&] {
        if (message == nullptr || name == nullptr || value == nullptr) return z9::kWrongArguments;
        const Z9Message::Property* const property = message->Find(name);
        if (property == nullptr) return z9::kNoSuchItem;
        if (!property->text) return z9::kWrongArguments;
        *value = property->text->c_str();
        return z9::kOk;
    });
}

Z9ERR Z9MsgSetBody(Z9Message* message, const void* data, size_t size)
{
    return Guarded([&] {
        if (message == nullptr || (data == nullptr && size != 0)) return z9::kWrongArguments;
        if (size == 0) {
            message->body.clear();
        } else {
            message->body.assign(static_cast<const char*>(data), size);
        }
        return z9::kOk;
    });
}

Z9ERR Z9MsgGetBody(const Z9Message* message, const void** data, size_t* size)
{
    return Guarded([&] {
        if (message == nullptr || data == nullptr || size == nullptr) return z9::kWrongArguments;
        *data = message->body.empty() ? nullptr : message->body.data();
        *size = message->body.size();
        return z9::kOk;
    });
}

Z9ERR Z9MsgCopyBody(const Z9Message* message, void* buffer, size_t* size)
{
    return Guarded([&] {
        if (message == nullptr || size == nullptr) return z9::kWrongArguments;
        const size_t capacity = buffer == nullptr ? 0 : *size;
        *size = message->body.size();
        if (*size > capacity) return z9::mq::kBufferTooSmall;
        if (*size != 0) std::memcpy(buffer, message->body.data(), *size);
        return z9::kOk;
    });
}
