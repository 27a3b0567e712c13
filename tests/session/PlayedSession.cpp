#include "PlayedSession.h"

#include <cstdlib>
#include <fstream>
#include <optional>

#include "Draw.h"
#include "DrawnMarket.h"
#include "DrawnTree.h"
#include "FakeQueue.h"
#include "MarginMarket.h"
#include "Z9MQCore.h"

namespace test {

namespace {

using Enums::IMSrvMessageType;
using replay::Draw;

PlainMessage Answer(IMSrvMessageType type, const std::string& body)
{
    PlainMessage answer = ServerAnswer(static_cast<std::uint32_t>(type));
    answer.body = body;
    return answer;
}

/// A server that lets everybody in, answers pings and sends this document.
void Serve(const std::string& document)
{
    TheQueue() = FakeQueue();
    TheQueue().onRequest = [document](const SentRequest& request) -> std::optional<PlainMessage> {
        switch (static_cast<IMSrvMessageType>(request.Type())) {
        case IMSrvMessageType::RequestUserInfo: {
            PlainMessage answer = Answer(IMSrvMessageType::ReplyUserInfo,
                                         R"(<root><Clients part_count="1000" login_type="CLIENT"/></root>)");
            answer.numbers["kv7go_error"] = 0;
            return answer;
        }
        case IMSrvMessageType::RequestInstruments2: {
            PlainMessage reply = Answer(IMSrvMessageType::ReplyInstruments2, document);
            reply.numbers["snappy_support"] = 0;
            return reply;
        }
        default:
            return ServerAnswer(request.Type() + 1);
        }
    };
}

/// The rows of a tree, as a file would have them.
void AddRows(const simulation::Tree& tree, quindal::Rows<quindal::AccountRow>& rows)
{
    using namespace quindal;
    const auto add = [&](AccountLevel level, const std::string& code) -> AccountRow& {
        AccountRow& row = rows.rows.emplace_back();
        row.line = rows.rows.size() + 1;
        row.level = level;
        row.code = code;
        return row;
    };
    const auto take = [](AccountRow& row, const simulation::Netting& netting) {
        row.calendar = static_cast<QuindalSpreadMarginType>(netting.calendar);
        row.interContract = static_cast<QuindalSpreadMarginType>(netting.interContract);
        row.shortChargeRatio = netting.shortChargeRatio;
    };
    for (const simulation::Account& account : tree.accounts) {
        AccountRow& row = add(AccountLevelSettlementAccount, account.id);
        row.marginRule = static_cast<QuindalMarginRule>(account.rule);
        take(row, account.netting);
    }
    for (const simulation::Firm& firm : tree.firms) {
        AccountRow& row = add(AccountLevelFirm, firm.code);
        if (const simulation::Account* const account = tree.AccountOf(firm)) row.parent = account->id;
        row.marginRule = static_cast<QuindalMarginRule>(firm.rule);
        row.expWeight = firm.UsedWeight();
        row.expWeightClientDefault = firm.weightOfClients;
        row.clearings = 0;
        take(row, firm.netting);
        if (firm.ratioContract.empty()) continue;
        AccountRow& ratio = add(AccountLevelRatio, firm.code);
        ratio.parent = firm.ratioContract;
        ratio.goRatio = firm.ratio;
    }
    for (const simulation::Client& client : tree.clients) {
        AccountRow& row = add(AccountLevelClient, client.code);
        row.noDiscount = client.rules.noFutDiscount ? 1 : 0;
        row.clearings = client.rules.clearings;
        row.expWeight = client.weight;
        row.calendar = static_cast<QuindalSpreadMarginType>(client.rules.calendar);
        row.interContract = static_cast<QuindalSpreadMarginType>(client.rules.interContract);
        row.goRatio = client.goRatio;
        row.shortChargeRatio = client.rules.shortChargeRatio;
        row.riskLevel = static_cast<QuindalClientRiskLevel>(client.rules.level);
    }
}

/// Some positions of a holder.
void AddPositions(Draw& draw, const plain::Market& market, std::int32_t level, const std::string& code,
                  quindal::Rows<quindal::PositionRow>& rows)
{
    const auto add = [&](const std::string& instrument, double price) {
        quindal::PositionRow& row = rows.rows.emplace_back();
        row.line = rows.rows.size() + 1;
        row.level = level;
        row.code = code;
        row.instrument = instrument;
        row.quantity = draw.Whole(-300, 300);
        row.price = draw.OnceIn(4) ? 0.0 : price;
        row.afterLastClearing = draw.OnceIn(3) ? draw.Whole(-300, 300) : row.quantity;
    };
    for (const FuturesSample& futures : market.futures)
        if (draw.OnceIn(3))
            add(futures.Code,
                (plain::TradesAtSettlement(futures) ? 0.0 : futures.CalcFutPrice) + draw.Grid(-4.0, 0.25, 33));
    for (const OptionSample& option : market.options)
        if (draw.OnceIn(3)) add(option.Code, option.CalcOptPrice + draw.Grid(0.0, 0.25, 17));
}

} // namespace

PlayedSession::PlayedSession(const std::string& document)
{
    std::string folder = (std::filesystem::temp_directory_path() / "quindal-session-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no temporary folder " + folder);
    m_folder = folder;
    const std::string ini = (m_folder / "margin.ini").string();
    std::ofstream(ini) << "[QuindalIM::mq]\nport = 4001\ntimeout = 3000\n";
    m_log = std::make_unique<quindal::RunLog>(ini);
    Serve(document);
    m_session = std::make_unique<quindal::MarginSession>(quindal::IniFile{ini, ini}, "USER01", "secret1", *m_log);
    m_session->LoadInstruments();
}

PlayedSession::~PlayedSession()
{
    m_session.reset();
    m_log.reset();
    TheQueue() = FakeQueue();
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

DrawnBook::DrawnBook(std::uint64_t seed)
    : market(simulation::DrawMarket(seed, {.wideGrids = seed % 7 == 0, .ownRatios = seed % 3 == 0}))
{
    const simulation::Tree tree = simulation::DrawTree(seed, market);
    AddRows(tree, accounts);
    Draw draw(seed * 2654435761U + 1);
    for (const simulation::Client& client : tree.clients)
        AddPositions(draw, market, QUINDAL_ACCOUNT_HIERARCHY_CLIENT, client.code, positions);
    for (const simulation::Firm& firm : tree.firms)
        if (firm.rule == Enums::MarginRule::Netting)
            AddPositions(draw, market, QUINDAL_ACCOUNT_HIERARCHY_BROKER, firm.code, positions);
    for (const simulation::Account& account : tree.accounts)
        if (account.rule == Enums::MarginRule::Netting)
            AddPositions(draw, market, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, account.id, positions);
}

std::string DrawnBook::Document() const { return quindal::test::MarketDocument(market); }

} // namespace test
