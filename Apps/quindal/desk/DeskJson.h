// JSON of the page: fields of requests, money and answers.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "DeskAnswer.h"
#include "DeskError.h"
#include "ExplainWords.h"

namespace quindal {

/// Money as the page has it: all digits, and the text that is shown.
[[nodiscard]] inline nlohmann::ordered_json MoneyJson(double money)
{
    return {{"value", money}, {"text", MoneyText(money)}};
}

/// A text of a request. Throws DeskError when it is missing or no text.
[[nodiscard]] inline std::string TextField(const nlohmann::json& request, const char* name)
{
    const auto field = request.find(name);
    if (field == request.end() || !field->is_string())
        throw DeskError(DeskMalformed, "the request has no text \"" + std::string(name) + "\"");
    return field->get<std::string>();
}

/// An array of a request. Throws DeskError when it is missing or no array.
[[nodiscard]] inline const nlohmann::json& ArrayField(const nlohmann::json& request, const char* name)
{
    const auto field = request.find(name);
    if (field == request.end() || !field->is_array())
        throw DeskError(DeskMalformed, "the request has no array \"" + std::string(name) + "\"");
    return *field;
}

/// Bytes that are no UTF-8 are shown as replaced.
[[nodiscard]] inline std::string Dumped(const nlohmann::ordered_json& document)
{
    return document.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

[[nodiscard]] inline DeskAnswer JsonAnswer(const nlohmann::ordered_json& document, int status = DeskGood)
{
    return {status, Dumped(document)};
}

} // namespace quindal
