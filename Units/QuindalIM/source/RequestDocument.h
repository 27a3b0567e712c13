// RequestDocument: the XML texts that the client sends.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace QuindalIM {

/// Attributes of a request, in the order in which they are written.
using RequestAttributes = std::vector<std::pair<const char*, std::string>>;

/// The document of a request, in UTF-8: the element "root" with one child that has the request's name. Throws a
/// CZ9Error that names the request.
[[nodiscard]] std::string CreateDocument(const char* requestName, const RequestAttributes& attributes);

} // namespace QuindalIM
