#include "RequestDocument.h"

#include <exception>
#include <sstream>

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include "except.h"

namespace QuindalIM {

using boost::property_tree::ptree;
using kv7base::CZ9Error;

std::string CreateDocument(const char* requestName, const RequestAttributes& attributes)
{
    try {
        ptree document;
        ptree& request = document.add_child("root", ptree()).add_child(requestName, ptree());
        for (const auto& [name, value] : attributes)
            request.put(std::string("<xmlattr>.") + name, value);

        std::ostringstream text;
        try {
            write_xml(text, document, boost::property_tree::xml_writer_make_settings<std::string>(' ', 0, "utf-8"));
        } catch (const std::exception& error) {
            throw CZ9Error(Z9ERR_COMMON_INTERNAL_ERROR, KV7_CURRENT_LOCATION)
                .Fmt("Exception while saving XML document for request %s: %s", requestName, error.what());
        }
        return text.str();
    } catch (const CZ9Error&) {
        throw; // the writer's failure says all already
    } catch (const std::exception& error) {
        throw CZ9Error(Z9ERR_COMMON_INTERNAL_ERROR, KV7_CURRENT_LOCATION)
            .Fmt("Exception while processing request %s: %s", requestName, error.what());
    }
}

} // namespace QuindalIM
