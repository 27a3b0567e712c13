#include "MarginSession.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "BraskSettlementAccount.h"
#include "Broker.h"
#include "CalcGOEx.h"
#include "Client.h"
#include "Enums.h"
#include "LibraryState.h"
#include "MarketCheck.h"
#include "ParticipantRepository.h"
#include "QuindalIM.h"
#include "RunLog.h"
#include "TradingCodes.h"
#include "Words.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"
#include "kv7errors.h"

namespace quindal {

namespace {

// What a row says of a risk level goes to the library by its number and to the eye by its word.
static_assert(std::ranges::equal(RiskLevelWords, Enums::ClientRiskLevels,
                                 [](const Word& word, const Enums::ClientRiskLevelRow& level) {
                                     return word.first.substr(1) == level.name.substr(1) &&
                                            word.second == static_cast<std::int32_t>(level.value);
                                 }),
              "each risk level has its word, in the same order");

void Check(std::int32_t code, const char* call, const std::string& where = {})
{
    if (code != 0) throw CallError(where, call, code);
}

/// True for a code of the router, the login or the server, as against one of the request.
bool IsOfTheLink(std::int32_t code)
{
    static constexpr std::array<std::uint32_t, 8> codes{
        Z9ERR_QUINDAL_IM_STARTUP_ERROR,       Z9ERR_QUINDAL_IM_CONNECT_ERROR,   Z9ERR_QUINDAL_IM_LOGIN_ERROR,
        Z9ERR_QUINDAL_IM_GET_USER_INFO_ERROR, Z9ERR_QUINDAL_IM_NOT_CONNECTED,   Z9ERR_QUINDAL_IM_WRONG_PORT,
        Z9ERR_QUINDAL_IM_WRONG_MQ_TIMEOUT,    Z9ERR_QUINDAL_IM_WRONG_PART_COUNT};
    return std::find(codes.begin(), codes.end(), static_cast<std::uint32_t>(code)) != codes.end();
}

ExitStatus StatusOf(std::int32_t code) { return IsOfTheLink(code) ? StatusLink : StatusRefused; }

std::string TextOf(const std::string& where, const std::string& call, std::int32_t code, const std::string& reason)
{
    return (where.empty() ? "" : where + ": ") + call + " failed with code " + std::to_string(code) + ": " +
           GetErrorCodeDescription(code) + (reason.empty() ? "" : " (" + reason + ")");
}

/// True when the library's text on a failed download tells of the link; false when the document could not be taken.
bool IsLinkTrouble(const std::string& text)
{
    static constexpr std::array<std::string_view, 6> begins{
        "Connection is not initialized", "System is not logged",   "Could not create message",
        "Could not compose message",     "Could not send message", "Could not retrieve message"};
    return std::any_of(begins.begin(), begins.end(), [&](std::string_view begin) { return text.starts_with(begin); });
}

/// Whether a log line ends in this code of the link: "... (28675: Login was aborted)".
bool Has(const std::string& logged, Z9ERR code)
{
    return logged.find("(" + std::to_string(code) + ":") != std::string::npos;
}

/// Text on the part of a login that failed. The last error of the link is that of its farewell by then; its log has the
/// one before.
std::string LoginReason(std::int32_t code, const std::string& user, const std::vector<LogLine>& log)
{
    std::string logged;
    for (const LogLine& line : log)
        logged += (logged.empty() ? "" : "; ") + line.text;
    if (static_cast<std::uint32_t>(code) == Z9ERR_QUINDAL_IM_CONNECT_ERROR)
        return "no router answers at the port of the ini file: is it running?";
    if (static_cast<std::uint32_t>(code) != Z9ERR_QUINDAL_IM_LOGIN_ERROR) return logged;
    if (Has(logged, Z9ERR_MQCRYPT_LOGIN_ABORTED))
        return "the router did not accept the user \"" + user + "\" with this password";
    if (Has(logged, Z9ERR_MQ_NO_SERVICE)) return "the router is there, and no server answers behind it";
    return logged;
}

/// The largest figure that a double holds to the cent.
constexpr double MostMoney = 9e13;

void CheckFigure(double figure, const std::string& name)
{
    if (std::abs(figure) <= MostMoney) return; // false for what is no number
    throw InputError("the margin of " + name +
                     (std::isfinite(figure) ? " is too large to be told to the cent" : " is no number") +
                     ": look for prices, quantities or instruments out of all proportion");
}

} // namespace

CallError::CallError(const std::string& where, const std::string& call, std::int32_t code, const std::string& reason)
    : CallError(StatusOf(code), where, call, code, reason)
{}

CallError::CallError(ExitStatus status, const std::string& where, const std::string& call, std::int32_t code,
                     const std::string& reason)
    : CommandError(status, TextOf(where, call, code, reason))
{}

MarginSession::MarginSession(const IniFile& ini, const std::string& user, const std::string& password, RunLog& log)
{
    static_cast<void>(log.Next());
    const std::int32_t started = InitQuindalIM(ini.path.c_str(), user.c_str(), password.c_str());
    if (started != 0) throw CallError(ini.name, "InitQuindalIM", started, LoginReason(started, user, log.Next()));
    const std::int32_t code = CreateQuindalIMCalculator(&m_calculator);
    if (code == 0) return;
    DeInitQuindalIM();
    throw CallError({}, "CreateQuindalIMCalculator", code);
}

MarginSession::~MarginSession()
{
    ClearAll(m_calculator);
    DestroyQuindalIMCalculator(m_calculator);
    DeInitQuindalIM();
}

void MarginSession::LoadInstruments(const OnReply& onReply)
{
    QuindalIM::Z9MQCore& link = QuindalIM::g_mq_core;
    if (onReply) link.SetReplyReader([&](std::string_view document) { onReply(link.Port(), document); });
    const std::int32_t code = GetInstrumentParameters(m_calculator, nullptr);
    link.SetReplyReader({}); // what it calls lives no longer than this call
    if (code == 0) return;
    // The code of a failed download says little; the link knows why.
    const std::string reason = link.GetLastError();
    throw CallError(IsLinkTrouble(reason) ? StatusLink : StatusRefused, {}, "GetInstrumentParameters", code, reason);
}

MarketCodes MarginSession::Codes()
{
    QuindalIM::CCalcGOEx& calculator = *QuindalIM::g_pCalcGOEx;
    MarketCodes codes;
    calculator.SetOnFirstBaseContract();
    while (const auto* const contract = calculator.GetNextBaseContract())
        codes.Add(contract->Code, InstrumentKind::BaseContract);
    calculator.SetOnFirstFutures();
    while (const auto* const futures = calculator.GetNextFutures())
        codes.Add(futures->Code, InstrumentKind::Futures);
    const kv7im::CSpecVirtFutures* series = nullptr;
    for (std::int32_t left = calculator.SetOnFirstOptionSeries(); left > 0; --left)
        if (calculator.GetNextOptionSeries(series) == Z9ERR_OK) codes.Add(series->Code, InstrumentKind::OptionSeries);
    const kv7im::CSpecOption* option = nullptr;
    for (std::int32_t left = calculator.SetOnFirstOption(); left > 0; --left)
        if (calculator.GetNextOption(option) == Z9ERR_OK) codes.Add(option->Code, InstrumentKind::Option);
    calculator.SetOnFirstMultileg();
    for (std::string code; calculator.GetNextMultileg(code) == Z9ERR_OK;)
        codes.Add(code, InstrumentKind::CalendarSpread);
    return codes;
}

void MarginSession::CheckInstruments(const std::string& iniFile, Problems& problems)
{
    CheckDownload(QuindalIM::g_pCalcGOEx->GetTablesData(), iniFile, problems);
}

double MarginSession::CalculatedPrice(const std::string& instrument)
{
    int isin = 0;
    double price = 0.0;
    const Z9ERR code = QuindalIM::g_pCalcGOEx->GetIsinAndCalcPriceByCode(instrument.c_str(), isin, price);
    return code == Z9ERR_OK ? price : 0.0;
}

void MarginSession::RemoveAccounts()
{
    Check(ClearParts(m_calculator), "ClearParts");
    m_clients.clear();
    m_firms.clear();
    m_settlementAccounts.clear();
}

void MarginSession::Register(const std::string& where, const AccountRow& row)
{
    switch (row.level) {
    case AccountLevelSettlementAccount:
        return RegisterAccount(where, row);
    case AccountLevelFirm:
        return RegisterAFirm(where, row);
    case AccountLevelRatio:
        return RegisterRatio(where, row);
    default:
        return RegisterClient(where, row);
    }
}

void MarginSession::RegisterAccount(const std::string& where, const AccountRow& row)
{
    Check(RegisterSettlementAccount(m_calculator, row.code.c_str(), row.marginRule, row.calendar, row.interContract,
                                    row.shortChargeRatio),
          "RegisterSettlementAccount", where);
    m_settlementAccounts.push_back(row.code);
}

void MarginSession::RegisterAFirm(const std::string& where, const AccountRow& row)
{
    Check(RegisterFirm(m_calculator, row.code.c_str(), row.clearings, row.expWeight, row.expWeightClientDefault,
                       row.accountType, row.parent.c_str(), row.calendar, row.marginRule, row.interContract,
                       row.shortChargeRatio, 0),
          "RegisterFirm", where);
    m_firms.push_back({row.code, row.parent, 0.0});
}

void MarginSession::RegisterClient(const std::string& where, const AccountRow& row)
{
    Check(RegisterPart(m_calculator, row.code.c_str(), row.noDiscount ? 1 : 0, row.clearings, row.expWeight,
                       row.calendar, row.interContract, row.goRatio, row.shortChargeRatio, row.riskLevel, 0),
          "RegisterPart", where);
    m_clients.push_back(row.code);
}

void MarginSession::RegisterRatio(const std::string& where, const AccountRow& row)
{
    Check(InsertBrokerBaseContractParam(m_calculator, row.code.c_str(), row.parent.c_str(), row.goRatio),
          "InsertBrokerBaseContractParam", where);
}

void MarginSession::SetPosition(const std::string& where, const PositionRow& row)
{
    double volatilityGO = 0.0;
    double deliveryGO = 0.0;
    double clientGO = 0.0;
    double firmGO = 0.0;
    double accountGO = 0.0;
    Check(::SetPosition(m_calculator, row.code.c_str(), row.instrument.c_str(), row.quantity, row.price, &volatilityGO,
                        &deliveryGO, &clientGO, &firmGO, &accountGO,
                        static_cast<QuindalAccountHierarchyRecordType>(row.level), row.afterLastClearing),
          "SetPosition", where);
}

ClientFigures MarginSession::PlaceOrder(const Order& order)
{
    ClientFigures figures{order.client, FirmOf(order.client), 0.0, 0.0, 0.0};
    double firmGO = 0.0;
    double accountGO = 0.0;
    Check(ChangeOrder(m_calculator, order.client.c_str(), order.instrument.c_str(), order.isBuy ? 1 : 0, order.price,
                      order.quantity, &figures.volatilityGO, &figures.deliveryAndVolatilityGO, &figures.GO, &firmGO,
                      &accountGO),
          "ChangeOrder", order.where);
    CheckFigure(figures.GO, "client " + order.client + " with orders");
    return figures;
}

void MarginSession::ChangeOrders(const Order& order)
{
    double unused = 0.0;
    Check(ChangeOrder(m_calculator, order.client.c_str(), order.instrument.c_str(), order.isBuy ? 1 : 0, order.price,
                      order.quantity, &unused, &unused, &unused, &unused, &unused),
          "ChangeOrder", order.where);
}

double MarginSession::GOOfFirm(const std::string& firm)
{
    return QuindalIM::GetParticipantRepositoryForQuindaIM()
        .GetBroker(BrokerCode::Parse(firm), Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED)
        .GetInitialMargin();
}

double MarginSession::GOOfAccount(const std::string& account)
{
    return QuindalIM::GetParticipantRepositoryForQuindaIM()
        .GetSettlementAccountById(std::string_view(account).substr(0, 12))
        ->GetInitialMargin();
}

ClientFigures MarginSession::FiguresOf(const std::string& client) const
{
    ClientFigures figures{client, FirmOf(client), 0.0, 0.0, 0.0};
    double firmGO = 0.0;
    double accountGO = 0.0;
    QuindalIM::CCalcGOEx::GetClientAndBrokerInitialMargin(
        QuindalIM::GetParticipantRepositoryForQuindaIM().GetClient(ClientCode::Parse(client)), figures.volatilityGO,
        figures.deliveryAndVolatilityGO, figures.GO, firmGO, accountGO);
    return figures;
}

QuindalIM::MarginExplanation MarginSession::Explain(const std::string& client) const
{
    return QuindalIM::ExplainMargin(
        QuindalIM::GetParticipantRepositoryForQuindaIM().GetClient(ClientCode::Parse(client)));
}

QuindalIM::MarginExplanation MarginSession::ExplainFirm(const std::string& firm) const
{
    const BraskBroker& broker = QuindalIM::GetParticipantRepositoryForQuindaIM().GetBroker(
        BrokerCode::Parse(firm), Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED);
    const BraskBroker::MarginFigures figures = broker.GetMarginFigures();
    return QuindalIM::ExplainMargin(broker.GetPortfolio(), broker, figures.expWeight.AsDouble(),
                                    figures.ratio.AsDouble());
}

QuindalIM::MarginExplanation MarginSession::ExplainAccount(const std::string& account) const
{
    const BraskSettlementAccountPtr found = QuindalIM::GetParticipantRepositoryForQuindaIM().GetSettlementAccountById(
        std::string_view(account).substr(0, 12));
    return QuindalIM::ExplainMargin(found->GetPortfolio(), *found, found->GetExpWeight().AsDouble(), 1.0);
}

MarginFigures MarginSession::Figures() const
{
    MarginFigures figures;
    for (const std::string& client : m_clients) {
        figures.clients.push_back(FiguresOf(client));
        CheckFigure(figures.clients.back().GO, "client " + client);
    }
    figures.firms = m_firms;
    for (FirmFigures& firm : figures.firms) {
        firm.GO = GOOfFirm(firm.code);
        CheckFigure(firm.GO, "firm " + firm.code);
    }
    for (const std::string& id : m_settlementAccounts) {
        figures.settlementAccounts.push_back({id, GOOfAccount(id)});
        CheckFigure(figures.settlementAccounts.back().GO, "account " + id);
    }
    return figures;
}

} // namespace quindal
