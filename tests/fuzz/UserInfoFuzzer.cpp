// The reply about the user, any bytes for its document: it is accepted or refused. A refusal says why and leaves the
// number of clients unknown unless the document told it; nothing leaves as an exception.
#include <string_view>

#include "ReplyQueue.h"
#include "Require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    QuindalIM::Z9MQCore& core = LoggedInCore();
    core.SetLastError("", Z9ERR_OK);
    const std::string_view body(reinterpret_cast<const char*>(data), size);
    SetReply({Enums::IMSrvMessageType::ReplyUserInfo, {{"kv7go_error", Z9ERR_OK}}, body});

    const bool isAccepted = core.GetUserInfo();
    const bool isSilent = *core.GetLastError() == '\0' && core.GetLastErrorCode() == Z9ERR_OK;
    Require(isAccepted == isSilent, "a refusal has a text and a code, an accepted user has none");
    const bool namesLibrary = body.find("CLIENT") != body.npos || body.find('&') != body.npos; // or an escape of it
    Require(!isAccepted || namesLibrary, "only a login of this library's kind is accepted");
    if (body.find("part_count") == body.npos)
        Require(core.m_part_count == -1, "a document without the number leaves it unknown");
    return 0;
}
