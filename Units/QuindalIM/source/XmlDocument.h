// XmlDocument: the XML texts of the link, written for requests and read from replies.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/property_tree/ptree_fwd.hpp>

namespace QuindalIM {

/// Attributes of a request, in the order in which they are written.
using RequestAttributes = std::vector<std::pair<const char*, std::string>>;

/// The document of a request, in UTF-8: the element "root" with one child of the request's name. Throws CZ9Error that
/// names the request.
[[nodiscard]] std::string CreateDocument(const char* requestName, const RequestAttributes& attributes);

/// Reads a document straight from the text's bytes. Comments and the blanks between elements are dropped. Throws
/// boost::property_tree::xml_parser_error, for elements nested deeper than any document of the link as well.
[[nodiscard]] boost::property_tree::ptree ReadDocument(std::string_view text);

} // namespace QuindalIM
