// A message whose properties and body are set by a program, or came over the link with any name and any value. What was
// set is read back; what came is read as a number or a text where it is one, and the answer is a code where it is not.
// A reader that is refused writes nothing, and a copy of the body keeps within its buffer.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "Require.h"
#include "Z9MsgData.h"

namespace {

constexpr Z9ERR done = 0;
constexpr Z9ERR wrongArguments = 2;
constexpr int MostSteps = 50;

bool MayBeAName(const std::string& name)
{
    return !name.empty() &&
           std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 0x7F && c != ':'; });
}

std::string AnyName(FuzzedDataProvider& input)
{
    static constexpr const char* names[] = {"Z9_Type", "Z9_Category", "kv7go_ping", "snappy_support"};
    if (input.ConsumeIntegralInRange(0, 3) > 0) return input.PickValueInArray(names);
    return input.ConsumeRandomLengthString(20).c_str(); // names are zero-terminated
}

/// Both readings of one property. The last one is what the message has, so a name stands in it once.
void Read(const Z9Message& message, const std::string& name)
{
    std::uint32_t number = 77;
    const char* text = nullptr;
    const Z9ERR asNumber = Z9MsgCopyFieldUINT32(&message, name.c_str(), &number);
    const Z9ERR asText = Z9MsgGetStrField(&message, name.c_str(), &text);
    Require(asNumber == done || number == 77, "a number that is none writes nothing");
    Require((asText == done) == (text != nullptr), "a text that is none writes nothing");
    const bool isThere = message.Find(name) != nullptr;
    Require(isThere || (asNumber == asText && asNumber != done && asNumber != wrongArguments),
            "a property that is not there is one that is not there, not a wrong one");
    if (asNumber == done && asText == done)
        Require(std::stoull(text) == number, "a property that is both has one value");
}

void SetNumber(Z9Message& message, const std::string& name, std::uint32_t value)
{
    const Z9ERR set = Z9MsgSetFieldUINT32(&message, name.c_str(), value);
    Require((set == done) == MayBeAName(name), "a property has a name that the link takes");
    std::uint32_t read = ~value;
    if (set == done)
        Require(Z9MsgCopyFieldUINT32(&message, name.c_str(), &read) == done && read == value,
                "a number that was set is read back");
}

void SetText(Z9Message& message, const std::string& name, const std::string& value)
{
    const Z9ERR set = Z9MsgSetFieldStr(&message, name.c_str(), value.c_str());
    Require((set == done) == MayBeAName(name), "a property has a name that the link takes");
    const char* read = nullptr;
    if (set == done)
        Require(Z9MsgGetStrField(&message, name.c_str(), &read) == done && value.c_str() == std::string(read),
                "a text that was set is read back");
}

/// What the other side reads of a message: every property in the form that it has on the link.
void RequireTheSameOverTheLink(const Z9Message& message)
{
    const z9::MessagePtr arrived = z9::MakeMessage();
    for (const auto& [name, property] : message.properties)
        arrived->SetEncoded(name, property.encoded);
    Require(arrived->properties.size() == message.properties.size(), "no property is lost");
    for (const auto& [name, property] : message.properties)
        Require(arrived->Find(name)->text == property.text, "a text arrives as it was set");
}

void CopyBody(const Z9Message& message, std::size_t capacity)
{
    const void* data = nullptr;
    std::size_t size = 0;
    Require(Z9MsgGetBody(&message, &data, &size) == done, "a body can be looked at");
    const auto buffer = std::make_unique<char[]>(capacity); // of this size exactly
    std::size_t copied = capacity;
    const Z9ERR code = Z9MsgCopyBody(&message, buffer.get(), &copied);
    Require(copied == size && (code == done) == (size <= capacity), "a body says its size and comes where it fits");
    if (code == done)
        Require(std::string(buffer.get(), copied) == std::string(static_cast<const char*>(data), size),
                "a copy is the body");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    Z9Message* raw = nullptr;
    Require(Z9MsgCreateMessage(&raw) == done, "a message can be made");
    const z9::MessagePtr message(raw);
    for (int step = 0; step < MostSteps && input.remaining_bytes() > 0; ++step) {
        const std::string name = AnyName(input);
        switch (input.ConsumeIntegralInRange(0, 5)) {
        case 0:
            SetNumber(*message, name, input.ConsumeIntegral<std::uint32_t>());
            break;
        case 1:
            SetText(*message, name, input.ConsumeRandomLengthString(30));
            break;
        case 2:
        case 3: // over the link, where a value ends at a zero byte
            message->SetEncoded(name, input.ConsumeRandomLengthString(30).c_str());
            break;
        case 4: {
            const std::string body = input.ConsumeRandomLengthString(60);
            Require(Z9MsgSetBody(raw, body.data(), body.size()) == done, "any body can be set");
            break;
        }
        default:
            CopyBody(*message, input.ConsumeIntegralInRange<std::size_t>(0, 64));
        }
        Read(*message, name);
    }
    RequireTheSameOverTheLink(*message);
    return 0;
}
