#include "MarginSession.h"

#include <array>
#include <string_view>

#include "BraskSettlementAccount.h"
#include "Broker.h"
#include "CalcGOEx.h"
#include "Client.h"
#include "LibraryState.h"
#include "ParticipantRepository.h"
#include "QuindalIM.h"
#include "TradingCodes.h"
#include "Words.h"
#include "kv7errors.h"

namespace quindal {

namespace {

constexpr std::array<std::string_view, 14> AccountColumns{
    "level",      "code",           "parent",     "margin_rule",
    "calendar",   "inter_contract", "exp_weight", "exp_weight_client_default",
    "clearings",  "no_discount",    "go_ratio",   "short_charge_ratio",
    "risk_level", "account_type"};
constexpr std::array<std::string_view, 6> PositionColumns{"level",    "code",  "instrument",
                                                          "quantity", "price", "after_last_clearing"};

void Check(std::int32_t code, const char* call, const std::string& where = {})
{
    if (code != 0) throw CallError(where, call, code);
}

ExitStatus StatusOf(std::int32_t code)
{
    const bool isOfTheLink = (code >= 94814 && code <= 94817) || code == 94820 || (code >= 94822 && code <= 94824);
    return isOfTheLink ? StatusLink : StatusRefused;
}

bool Flag(const CsvRow& row, std::string_view column)
{
    static constexpr std::array words{Word{"0", 0}, Word{"1", 1}, Word{"no", 0}, Word{"yes", 1}};
    return row.OneOf(column, words, 0) != 0;
}

} // namespace

CallError::CallError(const std::string& where, const std::string& call, std::int32_t code, const std::string& reason)
    : CommandError(StatusOf(code), (where.empty() ? "" : where + ": ") + call + " failed with code " +
                                       std::to_string(code) + ": " + GetErrorCodeDescription(code) +
                                       (reason.empty() ? "" : " (" + reason + ")"))
{}

CsvTable ReadAccounts(const std::string& file) { return CsvTable(file, AccountColumns); }
CsvTable ReadPositions(const std::string& file) { return CsvTable(file, PositionColumns); }

MarginSession::MarginSession(const std::string& iniFile, const std::string& user, const std::string& password)
{
    Check(InitQuindalIM(iniFile.c_str(), user.c_str(), password.c_str()), "InitQuindalIM");
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

void MarginSession::LoadInstruments()
{
    const std::int32_t code = GetInstrumentParameters(m_calculator, nullptr);
    // The code of a failed download says little; the link knows why.
    if (code != 0) throw CallError({}, "GetInstrumentParameters", code, QuindalIM::g_mq_core.GetLastError());
    ReadMultilegs();
}

void MarginSession::ReadMultilegs()
{
    std::int32_t count = 0;
    Check(SetOnFirstMultileg(m_calculator, &count), "SetOnFirstMultileg");
    for (; count > 0; --count) {
        std::array<char, 64> code{};
        auto size = static_cast<std::int32_t>(code.size());
        Check(GetNextMultileg(m_calculator, code.data(), &size), "GetNextMultileg");
        m_multilegs.emplace(code.data());
    }
}

void MarginSession::RemoveAccounts()
{
    Check(ClearParts(m_calculator), "ClearParts");
    m_clients.clear();
    m_firms.clear();
    m_settlementAccounts.clear();
}

void MarginSession::Register(const CsvRow& account)
{
    (void)account.Required("level");
    switch (account.OneOf("level", AccountLevelWords, AccountLevelClient)) {
    case AccountLevelSettlementAccount:
        return RegisterSettlementAccountRow(account);
    case AccountLevelFirm:
        return RegisterFirmRow(account);
    case AccountLevelRatio:
        return RegisterRatioRow(account);
    default:
        return RegisterClientRow(account);
    }
}

void MarginSession::RegisterSettlementAccountRow(const CsvRow& row)
{
    const std::string& id = row.Required("code");
    Check(RegisterSettlementAccount(
              m_calculator, id.c_str(),
              static_cast<QuindalMarginRule>(row.OneOf("margin_rule", MarginRuleWords, QUINDAL_MARGIN_RULE_NETTING)),
              static_cast<QuindalSpreadMarginType>(
                  row.OneOf("calendar", SpreadWords, QUINDAL_SPREAD_MARGIN_TYPE_NETTING)),
              static_cast<QuindalSpreadMarginType>(
                  row.OneOf("inter_contract", SpreadWords, QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING)),
              row.Number("short_charge_ratio", 1.0)),
          "RegisterSettlementAccount", row.Where());
    m_settlementAccounts.push_back(id);
}

void MarginSession::RegisterFirmRow(const CsvRow& row)
{
    const std::string& code = row.Required("code");
    const std::string& account = row.Text("parent");
    Check(
        RegisterFirm(
            m_calculator, code.c_str(), row.Integer32("clearings", 0), row.Number("exp_weight", 1.0),
            row.Number("exp_weight_client_default", 1.0),
            row.OneOf("account_type", AccountTypeWords, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY), account.c_str(),
            static_cast<QuindalSpreadMarginType>(
                row.OneOf("calendar", SpreadWords, QUINDAL_SPREAD_MARGIN_TYPE_NETTING)),
            static_cast<QuindalMarginRule>(row.OneOf("margin_rule", MarginRuleWords, QUINDAL_MARGIN_RULE_HALF_NETTING)),
            static_cast<QuindalSpreadMarginType>(
                row.OneOf("inter_contract", SpreadWords, QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING)),
            row.Number("short_charge_ratio", 1.0), 0),
        "RegisterFirm", row.Where());
    m_firms.push_back({code, account, 0.0});
}

void MarginSession::RegisterClientRow(const CsvRow& row)
{
    const std::string& code = row.Required("code");
    Check(RegisterPart(m_calculator, code.c_str(), Flag(row, "no_discount") ? 1 : 0, row.Integer32("clearings", -1),
                       row.Number("exp_weight", -1.0),
                       static_cast<QuindalSpreadMarginType>(
                           row.OneOf("calendar", SpreadWords, QUINDAL_SPREAD_MARGIN_TYPE_NETTING)),
                       static_cast<QuindalSpreadMarginType>(
                           row.OneOf("inter_contract", SpreadWords, QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING)),
                       row.Number("go_ratio", 1.0), row.Number("short_charge_ratio", 1.0),
                       row.OneOf("risk_level", RiskLevelWords, QUINDAL_CLIENT_RISK_LEVEL_DEFAULT), 0),
          "RegisterPart", row.Where());
    m_clients.push_back(code);
}

void MarginSession::RegisterRatioRow(const CsvRow& row)
{
    Check(InsertBrokerBaseContractParam(m_calculator, row.Required("code").c_str(), row.Required("parent").c_str(),
                                        row.Number("go_ratio", 1.0)),
          "InsertBrokerBaseContractParam", row.Where());
}

void MarginSession::SetPosition(const CsvRow& position)
{
    double volatilityGO = 0.0;
    double deliveryGO = 0.0;
    double clientGO = 0.0;
    double firmGO = 0.0;
    double accountGO = 0.0;
    const std::int64_t quantity = position.Integer("quantity", 0);
    // A price of 0 stands for the calculated price of the instrument.
    Check(::SetPosition(m_calculator, position.Required("code").c_str(), position.Required("instrument").c_str(),
                        quantity, position.Number("price", 0.0), &volatilityGO, &deliveryGO, &clientGO, &firmGO,
                        &accountGO,
                        static_cast<QuindalAccountHierarchyRecordType>(
                            position.OneOf("level", PositionLevelWords, QUINDAL_ACCOUNT_HIERARCHY_CLIENT)),
                        position.Integer("after_last_clearing", quantity)),
          "SetPosition", position.Where());
}

ClientFigures MarginSession::PlaceOrder(const Order& order)
{
    if (order.price == 0.0 && m_multilegs.contains(order.instrument))
        throw InputError(order.where + ": column \"price\": " + order.instrument +
                         " is a multileg, which has no calculated price: give one other than 0 (0.000001 for nothing)");
    ClientFigures figures{order.client, order.client.substr(0, 4), 0.0, 0.0, 0.0};
    double firmGO = 0.0;
    double accountGO = 0.0;
    Check(ChangeOrder(m_calculator, order.client.c_str(), order.instrument.c_str(), order.isBuy ? 1 : 0, order.price,
                      order.quantity, &figures.volatilityGO, &figures.deliveryAndVolatilityGO, &figures.GO, &firmGO,
                      &accountGO),
          "ChangeOrder", order.where);
    return figures;
}

ClientFigures MarginSession::FiguresOf(const std::string& client) const
{
    ClientFigures figures{client, client.substr(0, 4), 0.0, 0.0, 0.0};
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

MarginFigures MarginSession::Figures() const
{
    ParticipantRepository& participants = QuindalIM::GetParticipantRepositoryForQuindaIM();
    MarginFigures figures;
    for (const std::string& client : m_clients)
        figures.clients.push_back(FiguresOf(client));
    figures.firms = m_firms;
    for (FirmFigures& firm : figures.firms)
        firm.GO = participants.GetBroker(BrokerCode::Parse(firm.code), Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED)
                      .GetInitialMargin();
    for (const std::string& id : m_settlementAccounts)
        figures.settlementAccounts.push_back(
            {id, participants.GetSettlementAccountById(std::string_view(id).substr(0, 12))->GetInitialMargin()});
    return figures;
}

} // namespace quindal
