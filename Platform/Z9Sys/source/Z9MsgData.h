// Z9Message: a request, an answer, or a notice that the library makes itself.
// Always true:  a property's name is visible ASCII without a colon; no name stands twice.
//               values are kept in the form they have on the link, since only the reader knows a value's type.
// Numbers:      an empty body is no body.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Z9MQ.h"

struct Z9Message
{
    struct Property
    {
        std::string encoded;             // as on the link
        std::optional<std::string> text; // read as a string; none when it is not well-formed as one
    };

    // Sets a value as it came over the link, well-formed or not.
    void SetEncoded(std::string_view name, std::string encoded);
    void SetText(std::string_view name, std::string_view text);
    void SetNumber(std::string_view name, uint32_t value);
    [[nodiscard]] const Property* Find(std::string_view name) const noexcept; // nullptr: no such property

    std::map<std::string, Property, std::less<>> properties;
    std::string body;
};

namespace z9 {

struct MessageDeleter
{
    void operator()(Z9Message* message) const noexcept { Z9MsgFreeMessage(message); }
};
using MessagePtr = std::unique_ptr<Z9Message, MessageDeleter>;

[[nodiscard]] MessagePtr MakeMessage();

} // namespace z9
