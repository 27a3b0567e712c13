// Codes of participants out of any text: read exactly when their length is allowed, never past the buffer, byte for
// byte, and refused with the code for wrong arguments.
#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "Require.h"
#include "TradingCodes.h"
#include "except.h"

namespace {

template <class Code>
void TryCode(const std::vector<char>& buffer, std::initializer_list<std::size_t> lengths)
{
    const std::size_t length = std::strlen(buffer.data());
    const bool isAllowed = std::find(lengths.begin(), lengths.end(), length) != lengths.end();

    const CodeParser<Code> bySize(buffer.data(), buffer.size());
    Require(bySize.TryParse().has_value() == isAllowed, "a text is a code when its length is allowed");
    Require(Code::CanParse(CodeParser<Code>(buffer.data())) == isAllowed, "the size of the buffer changes nothing");
    if (isAllowed) {
        Require(std::strcmp(bySize.Parse().c_str(), buffer.data()) == 0, "a code is its text");
        return;
    }
    Z9ERR thrown = Z9ERR_OK;
    try {
        static_cast<void>(bySize.Parse());
    } catch (const kv7base::CZ9Error& error) {
        thrown = error.GetCode();
    }
    Require(thrown == Z9ERR_COMMON_WRONG_ARGUMENTS, "a text that is no code is a wrong argument");
}

void TryTree(const std::vector<char>& buffer)
{
    const auto client = CodeParser<ClientCode>(buffer.data(), buffer.size()).TryParse();
    if (!client) return;
    const std::string text = buffer.data();
    Require(client->GetBrokerCode().c_str() == text.substr(0, 4), "the firm is the first four characters");
    Require(client->GetClearingBrokerCode().c_str() == text.substr(0, 2), "the clearing firm is the first two");
    Require(ClientCode::MakeLongLong(client->GetBrokerCode().ToInteger(), client->GetClientOnlyCodeAsInt()) ==
                client->ToInt64(),
            "the firm's integer and the client's own make the whole one");
    Require(ClientCode::StringToInteger(text.c_str()) == client->ToInt64(), "the integer is that of the text");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::vector<char> buffer(data, data + size); // on the heap and no byte longer, so that a byte too far is seen
    buffer.push_back('\0');
    TryCode<ClearingBrokerCode>(buffer, {2});
    TryCode<BrokerCode>(buffer, {2, 4});
    TryCode<ClientCode>(buffer, {2, 4, 7});
    TryTree(buffer);
    return 0;
}
