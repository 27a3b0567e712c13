// Messages without a network: properties by name, a body.
#include "Z9MsgData.h"

#include <array>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace test::Z9MsgTest {
namespace {

constexpr Z9ERR kOk = 0;
constexpr Z9ERR kWrongArguments = 2;
constexpr Z9ERR kBufferTooSmall = 7;
constexpr Z9ERR kNoSuchItem = 32;

class Message : public testing::Test
{
protected:
    Message()
    {
        Z9Message* made = nullptr;
        EXPECT_EQ(Z9MsgCreateMessage(&made), kOk);
        message_.reset(made);
    }

    [[nodiscard]] std::string Text(const char* name) const
    {
        const char* value = nullptr;
        EXPECT_EQ(Z9MsgGetStrField(message_.get(), name, &value), kOk) << name;
        return value == nullptr ? "<none>" : value;
    }

    z9::MessagePtr message_;
};

TEST_F(Message, StringsComeBackAsTheyWereSet)
{
    for (const char* text : {"", "kv7go", "a b", "100%", "%41", "%00", "\r\n\t", "\xD0\x96\xC3\xA9", "\x7f\xff"}) {
        ASSERT_EQ(Z9MsgSetFieldStr(message_.get(), "Z9_From", text), kOk);
        EXPECT_EQ(Text("Z9_From"), text);
    }
}

TEST_F(Message, NumbersComeBackAsTheyWereSet)
{
    for (const uint32_t number : {0u, 105u, 4294967295u}) {
        ASSERT_EQ(Z9MsgSetFieldUINT32(message_.get(), "Z9_Type", number), kOk);
        uint32_t value = number + 1;
        EXPECT_EQ(Z9MsgCopyFieldUINT32(message_.get(), "Z9_Type", &value), kOk);
        EXPECT_EQ(value, number);
    }
}

TEST_F(Message, TheReaderChoosesTheTypeOfAProperty)
{
    Z9MsgSetFieldUINT32(message_.get(), "number", 106);
    EXPECT_EQ(Text("number"), "106");

    Z9MsgSetFieldStr(message_.get(), "text", "42");
    uint32_t value = 0;
    EXPECT_EQ(Z9MsgCopyFieldUINT32(message_.get(), "text", &value), kOk);
    EXPECT_EQ(value, 42u);
}

TEST_F(Message, ATextThatIsNoNumberIsRefusedAsOne)
{
    for (const char* text : {"", "kv7go", " 1", "1 ", "-1", "4294967296"}) {
        Z9MsgSetFieldStr(message_.get(), "text", text);
        uint32_t value = 77;
        EXPECT_EQ(Z9MsgCopyFieldUINT32(message_.get(), "text", &value), kWrongArguments) << text;
        EXPECT_EQ(value, 77u) << "a refused read writes nothing";
    }
}

TEST_F(Message, AMalformedStringFromTheLinkIsRefusedAsTextButMayBeANumber)
{
    message_->SetEncoded("bad", "a b");
    const char* text = nullptr;
    EXPECT_EQ(Z9MsgGetStrField(message_.get(), "bad", &text), kWrongArguments);
    EXPECT_EQ(text, nullptr);

    message_->SetEncoded("padded", "0000000007");
    uint32_t value = 0;
    EXPECT_EQ(Z9MsgCopyFieldUINT32(message_.get(), "padded", &value), kOk);
    EXPECT_EQ(value, 7u);
}

TEST_F(Message, AMissingPropertyIsNoSuchItem)
{
    uint32_t number = 77;
    const char* text = nullptr;
    EXPECT_EQ(Z9MsgCopyFieldUINT32(message_.get(), "Z9_Type", &number), kNoSuchItem);
    EXPECT_EQ(Z9MsgGetStrField(message_.get(), "Z9_Type", &text), kNoSuchItem);
    EXPECT_EQ(number, 77u);
    EXPECT_EQ(text, nullptr);
}

TEST_F(Message, NamesAreCaseSensitive)
{
    Z9MsgSetFieldStr(message_.get(), "Name", "upper");
    Z9MsgSetFieldStr(message_.get(), "name", "lower");
    EXPECT_EQ(Text("Name"), "upper");
    EXPECT_EQ(Text("name"), "lower");
}

TEST_F(Message, APropertySetAgainTakesTheNewValueAndType)
{
    Z9MsgSetFieldStr(message_.get(), "x", "old");
    Z9MsgSetFieldUINT32(message_.get(), "x", 5);
    EXPECT_EQ(Text("x"), "5");
    EXPECT_EQ(message_->properties.size(), 1u);
}

TEST_F(Message, AReadTextLivesOnWhileOtherPropertiesChange)
{
    Z9MsgSetFieldStr(message_.get(), "kept", "value");
    const char* value = nullptr;
    ASSERT_EQ(Z9MsgGetStrField(message_.get(), "kept", &value), kOk);
    for (int i = 0; i < 1000; ++i)
        Z9MsgSetFieldUINT32(message_.get(), ("p" + std::to_string(i)).c_str(), 1);
    EXPECT_STREQ(value, "value");
}

TEST_F(Message, NamesThatWouldBreakTheHeaderAreRefused)
{
    for (const char* name : {"", "a b", "a:b", "a\r\nb", "\xC3\xA9"}) {
        EXPECT_EQ(Z9MsgSetFieldStr(message_.get(), name, "x"), kWrongArguments) << '"' << name << '"';
        EXPECT_EQ(Z9MsgSetFieldUINT32(message_.get(), name, 1), kWrongArguments) << '"' << name << '"';
    }
    EXPECT_TRUE(message_->properties.empty());
}

TEST_F(Message, ABodyIsItsBytesZerosIncluded)
{
    const std::string bytes("a\0b\xff", 4);
    ASSERT_EQ(Z9MsgSetBody(message_.get(), bytes.data(), bytes.size()), kOk);
    const void* data = nullptr;
    size_t size = 0;
    ASSERT_EQ(Z9MsgGetBody(message_.get(), &data, &size), kOk);
    ASSERT_EQ(size, 4u);
    EXPECT_EQ(std::memcmp(data, bytes.data(), 4), 0);
}

TEST_F(Message, AnEmptyBodyIsNoBody)
{
    const void* data = "not null";
    size_t size = 9;
    EXPECT_EQ(Z9MsgGetBody(message_.get(), &data, &size), kOk);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(size, 0u);

    Z9MsgSetBody(message_.get(), "abc", 3);
    EXPECT_EQ(Z9MsgSetBody(message_.get(), nullptr, 0), kOk);
    EXPECT_EQ(Z9MsgGetBody(message_.get(), &data, &size), kOk);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(size, 0u);
}

TEST_F(Message, CopyingABodyReportsItsSizeWhenTheBufferIsTooSmall)
{
    Z9MsgSetBody(message_.get(), "abcde", 5);
    std::array<char, 5> buffer{'-', '-', '-', '-', '-'};
    size_t size = 4;
    EXPECT_EQ(Z9MsgCopyBody(message_.get(), buffer.data(), &size), kBufferTooSmall);
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(buffer[0], '-');
    EXPECT_EQ(Z9MsgCopyBody(message_.get(), buffer.data(), &size), kOk);
    EXPECT_EQ(std::string(buffer.data(), size), "abcde");

    size = 100;
    EXPECT_EQ(Z9MsgCopyBody(message_.get(), nullptr, &size), kBufferTooSmall) << "a null buffer has no room";
    EXPECT_EQ(size, 5u);
}

TEST_F(Message, NullPointersAreWrongArguments)
{
    Z9Message* const m = message_.get();
    uint32_t number = 0;
    const char* text = nullptr;
    const void* data = nullptr;
    size_t size = 0;
    EXPECT_EQ(Z9MsgCreateMessage(nullptr), kWrongArguments);
    EXPECT_EQ(Z9MsgSetFieldStr(nullptr, "a", "b"), kWrongArguments);
    EXPECT_EQ(Z9MsgSetFieldStr(m, nullptr, "b"), kWrongArguments);
    EXPECT_EQ(Z9MsgSetFieldStr(m, "a", nullptr), kWrongArguments);
    EXPECT_EQ(Z9MsgSetFieldUINT32(nullptr, "a", 1), kWrongArguments);
    EXPECT_EQ(Z9MsgSetFieldUINT32(m, nullptr, 1), kWrongArguments);
    EXPECT_EQ(Z9MsgCopyFieldUINT32(nullptr, "a", &number), kWrongArguments);
    EXPECT_EQ(Z9MsgCopyFieldUINT32(m, nullptr, &number), kWrongArguments);
    EXPECT_EQ(Z9MsgCopyFieldUINT32(m, "a", nullptr), kWrongArguments);
    EXPECT_EQ(Z9MsgGetStrField(nullptr, "a", &text), kWrongArguments);
    EXPECT_EQ(Z9MsgGetStrField(m, nullptr, &text), kWrongArguments);
    EXPECT_EQ(Z9MsgGetStrField(m, "a", nullptr), kWrongArguments);
    EXPECT_EQ(Z9MsgSetBody(nullptr, "a", 1), kWrongArguments);
    EXPECT_EQ(Z9MsgSetBody(m, nullptr, 1), kWrongArguments);
    EXPECT_EQ(Z9MsgGetBody(nullptr, &data, &size), kWrongArguments);
    EXPECT_EQ(Z9MsgGetBody(m, nullptr, &size), kWrongArguments);
    EXPECT_EQ(Z9MsgGetBody(m, &data, nullptr), kWrongArguments);
    EXPECT_EQ(Z9MsgCopyBody(nullptr, nullptr, &size), kWrongArguments);
    EXPECT_EQ(Z9MsgCopyBody(m, nullptr, nullptr), kWrongArguments);
    EXPECT_EQ(Z9MsgFreeMessage(nullptr), kOk) << "freeing nothing is harmless";
}

} // namespace
} // namespace test::Z9MsgTest
