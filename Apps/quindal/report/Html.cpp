#include "Html.h"

#include "Printable.h"

namespace quindal::html {

std::string Text(std::string_view text)
{
    std::string escaped;
    for (const char c : Printable(text)) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\'':
            escaped += "&#39;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

std::string Element(std::string_view name, std::string_view cssClass, std::string_view content)
{
    std::string element = "<";
    element.append(name);
    if (!cssClass.empty()) element.append(" class=\"").append(cssClass).append("\"");
    return element.append(">").append(content).append("</").append(name).append(">");
}

} // namespace quindal::html
