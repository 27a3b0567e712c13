// The question that follows each login: who is the user, and how many clients may it have?
#include <exception>
#include <locale>

#include <boost/algorithm/string/predicate.hpp>

#include "CalcGOConsts.h"
#include "RequestDocument.h"
#include "TablesData.h"
#include "XmlDocument.h"
#include "Z9MQCore.h"
#include "z9log.h"

namespace QuindalIM {

using Enums::IMSrvMessageType;

namespace {

constexpr const char* ClientLibrary = "CLIENT"; // kind of login that this library serves

} // namespace

bool Z9MQCore::GetUserInfo()
{
    m_part_count = -1;
    if (!RequireSession()) return false;

    Z9AutoMessage request;
    if (!CreateRequest(IMSrvMessageType::RequestUserInfo, request)) return false;
    const auto type = static_cast<std::uint32_t>(IMSrvMessageType::RequestUserInfo);
    const std::string body = CreateDocument("RequestUserInfo", {{"msg_type", std::to_string(type)},
                                                                {"dll_type", ClientLibrary},
                                                                {"username", m_username},
                                                                {"dll_version", LibraryVersion}});
    if (!SetBody(request, body)) return false;

    Z9AutoMessage reply;
    if (!Exchange(request, IMSrvMessageType::ReplyUserInfo, reply, nullptr)) return false;

    std::uint32_t serverError = 0;
    const Z9ERR known = Z9MsgCopyFieldUINT32(reply.Get(), "kv7go_error", &serverError);
    if (known != Z9ERR_OK) return Fail("Could not retrieve message from server", known);
    if (serverError != Z9ERR_OK) return Fail("UserInfo: Unknown error code", serverError);

    const void* data = nullptr;
    std::size_t size = 0;
    static_cast<void>(Z9MsgGetBody(reply.Get(), &data, &size)); // without a body there is no document to accept
    if (!IsWithinReplyLimit(size)) return false;
    return AcceptUserInfo(std::string_view(static_cast<const char*>(data), size));
}

bool Z9MQCore::AcceptUserInfo(std::string_view body)
{
    try {
        const Z9ERR result = ParseUserInfoReply(body);
        if (result == Z9ERR_QUINDAL_IM_LOGIN_ERROR)
            return Fail("UserInfo: Login type does not match library type", result);
        if (result != Z9ERR_OK) return Fail("UserInfo: User has not been registered properly", result);
        KV7TRACE_INFO_EX(LogCategory, "UserInfo: Part_count: %d", m_part_count);
        return true;
    } catch (const std::exception& error) {
        KV7TRACE_ERROR_EX(LogCategory, "UserInfo: XMLReader: Exception: %s", error.what());
        const std::string text = std::string("UserInfo: XMLReader: Exception: ") + error.what();
        return Fail(text.c_str(), Z9ERR_NOT_OK);
    }
}

Z9ERR Z9MQCore::ParseUserInfoReply(std::string_view text)
{
    const XmlDocument document(text);
    for (const pugi::xml_node& element : document.Root("root").children()) {
        if (!boost::algorithm::iequals(element.name(), "Clients", std::locale::classic())) continue;
        m_part_count = FromString<int>(GetAttr(element, "part_count"));
        // Only the beginning is compared: the server may tell kinds of client logins apart behind it.
        const std::string loginType = GetAttr(element, "login_type");
        return loginType.starts_with(ClientLibrary) ? Z9ERR_OK : Z9ERR_QUINDAL_IM_LOGIN_ERROR;
    }
    return Z9ERR_QUINDAL_IM_NOT_FOUND;
}

} // namespace QuindalIM
