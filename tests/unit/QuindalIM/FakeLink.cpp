#include "FakeLink.h"

#include "Z9MQCore.h"

FakeLink& TheLink()
{
    static FakeLink link;
    return link;
}

namespace QuindalIM {

namespace {

bool Step(Z9MQCore& core, const char* name, bool works)
{
    TheLink().steps.emplace_back(name);
    if (!works) core.SetLastError(TheLink().errorText.c_str(), TheLink().errorCode);
    return works;
}

} // namespace

Z9MQCore::~Z9MQCore() = default;

void Z9MQCore::SetLastError(const char* text, Z9ERR code)
{
    m_err_str = text;
    m_err_code = code;
}

bool Z9MQCore::Startup(std::uint16_t port, std::uint32_t timeout, const std::string& xmlPath)
{
    TheLink().port = port;
    TheLink().timeout = timeout;
    TheLink().xmlPath = xmlPath;
    TheLink().maxReplyBytes = m_maxReplyBytes;
    return Step(*this, "Startup", TheLink().startup);
}

void Z9MQCore::Cleanup() { TheLink().steps.emplace_back("Cleanup"); }

bool Z9MQCore::Connect() { return Step(*this, "Connect", TheLink().connect); }

bool Z9MQCore::Login(const std::string& user, const std::string& password)
{
    TheLink().user = user;
    TheLink().password = password;
    return Step(*this, "Login", TheLink().login);
}

bool Z9MQCore::GetUserInfo()
{
    m_part_count = TheLink().partCount;
    return Step(*this, "GetUserInfo", TheLink().userInfo);
}

bool Z9MQCore::CheckPing() { return Step(*this, "CheckPing", TheLink().ping); }

bool Z9MQCore::GetInstrumentParameters(CCalcGOEx& calculator, const char* datetime)
{
    TheLink().datetime = datetime == nullptr ? std::nullopt : std::optional<std::string>(datetime);
    if (TheLink().onDownload) TheLink().onDownload(calculator);
    return Step(*this, "GetInstrumentParameters", TheLink().download);
}

} // namespace QuindalIM
