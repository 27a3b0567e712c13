#include "Host.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <stdexcept>

#include <snappy.h>

#include "CalcGOEx.h"
#include "FakeQueue.h"
#include "LibraryState.h"
#include "MarginMarket.h"
#include "QuindalIM.h"

namespace simulation {

namespace {

using Enums::IMSrvMessageType;

constexpr std::int64_t BehindAnyPing = 21'000; // ms: a link that was looked at so long ago is looked at again

[[nodiscard]] PlainMessage Answer(IMSrvMessageType type, const std::string& body)
{
    PlainMessage answer = ServerAnswer(static_cast<std::uint32_t>(type));
    answer.body = body;
    return answer;
}

[[nodiscard]] PlainMessage InstrumentsReply(const std::string& document, bool compressed)
{
    PlainMessage reply = Answer(IMSrvMessageType::ReplyInstruments2, document);
    reply.numbers["snappy_support"] = compressed ? 1 : 0;
    if (!compressed) return reply;
    snappy::Compress(document.data(), document.size(), &reply.body);
    reply.numbers["snappy_decompressedSize"] = static_cast<std::uint32_t>(document.size());
    reply.numbers["snappy_compressedSize"] = static_cast<std::uint32_t>(reply.body.size());
    return reply;
}

/// A server that lets everybody in and answers pings; instruments by this reply.
void ServeInstruments(const PlainMessage& reply)
{
    TheQueue().onRequest = [reply](const SentRequest& request) -> std::optional<PlainMessage> {
        switch (static_cast<IMSrvMessageType>(request.Type())) {
        case IMSrvMessageType::RequestUserInfo: {
            PlainMessage answer = Answer(IMSrvMessageType::ReplyUserInfo,
                                         R"(<root><Clients part_count="1000" login_type="CLIENT"/></root>)");
            answer.numbers["kv7go_error"] = 0;
            return answer;
        }
        case IMSrvMessageType::RequestInstruments2:
            return reply;
        default:
            return ServerAnswer(request.Type() + 1);
        }
    };
}

} // namespace

void Require(std::int32_t code, const std::string& call)
{
    if (code != 0) throw std::runtime_error(call + " gives code " + std::to_string(code) + " instead of 0");
}

Host::Host(bool traced)
{
    std::string folder = (std::filesystem::temp_directory_path() / "quindal-day-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no temporary folder " + folder);
    m_folder = folder;
    m_ini = (m_folder / "margin.ini").string();
    std::ofstream ini(m_ini);
    ini << "[QuindalIM::mq]\nport = 4001\ntimeout = 3000\n";
    if (traced) ini << "[QuindalIM::xplog]\nfile = " << (m_folder / "trace.log").string() << "\n";
    ini.close();
    TheQueue() = FakeQueue();
    ServeInstruments(InstrumentsReply("<root/>", false));
    Start();
    Require(CreateQuindalIMCalculator(&m_calc), "CreateQuindalIMCalculator");
    Require(ClearAll(m_calc), "ClearAll"); // what a day that failed has left
}

Host::~Host()
{
    static_cast<void>(ClearAll(m_calc));
    static_cast<void>(DestroyQuindalIMCalculator(m_calc));
    static_cast<void>(DeInitQuindalIM());
    TheQueue() = FakeQueue();
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

void Host::Start()
{
    TheQueue().news = {RouterState(Z9MQ_ROUTER_CONNECTED, FakeQueue::LoginId)};
    Require(InitQuindalIM(m_ini.c_str(), "USER01", "secret1"), "InitQuindalIM");
}

void Host::Stop() { Require(DeInitQuindalIM(), "DeInitQuindalIM"); }

void Host::Restart()
{
    Stop();
    StartAgain();
}

void Host::StartAgain()
{
    Start();
    std::intptr_t same = 0;
    Require(CreateQuindalIMCalculator(&same), "CreateQuindalIMCalculator");
    if (same != m_calc) throw std::runtime_error("the calculator is another one after a restart");
}

void Host::BeginNewLife()
{
    Require(ClearAll(m_calc), "ClearAll");
    Require(DestroyQuindalIMCalculator(m_calc), "DestroyQuindalIMCalculator");
    Stop();
    Start();
    Require(CreateQuindalIMCalculator(&m_calc), "CreateQuindalIMCalculator");
}

Isin Host::IsinOf(const std::string& code) const { return QuindalIM::GetQuindalImCalculator(m_calc).GetIsin(code); }

void Host::Enter(plain::Market& market, bool byDownload, bool compressed)
{
    if (byDownload) {
        ServeInstruments(InstrumentsReply(quindal::test::MarketDocument(market), compressed));
        Require(GetInstrumentParameters(m_calc, nullptr), "GetInstrumentParameters");
    } else {
        quindal::test::InsertMarket(m_calc, market);
    }
    const plain::Market before = market;
    const plain::MarketView view(before, {});
    const auto known = [&](Isin isin) {
        const FuturesSample* const futures = view.FindFutures(isin);
        return futures == nullptr ? 0 : IsinOf(futures->Code);
    };
    for (FuturesSample& futures : market.futures) {
        futures.Isin = IsinOf(futures.Code);
        futures.TASBaseFutIsinID = known(futures.TASBaseFutIsinID);
    }
    for (OptionSample& option : market.options)
        option.Isin = IsinOf(option.Code);
    for (MultilegSample& multileg : market.multilegs) {
        multileg.Isin = IsinOf(multileg.Code);
        multileg.FirstLeg = known(multileg.FirstLeg);
        multileg.SecondLeg = known(multileg.SecondLeg);
    }
}

std::int32_t Host::DownloadSomethingBroken()
{
    ServeInstruments(InstrumentsReply(R"(<root><Currency IndicatorID="1" Radius="0.01"/><Currency Radius=)", false));
    return GetInstrumentParameters(m_calc, nullptr);
}

void Host::Register(const Tree& tree, const Caller& make) const
{
    const auto require = [&](const std::string& name, const std::function<std::int32_t()>& call) {
        Require(make(name, call), name);
    };
    const auto spread = [](Enums::SpreadMarginType type) { return static_cast<QuindalSpreadMarginType>(type); };
    for (const Account& account : tree.accounts)
        require("RegisterSettlementAccount " + account.id, [&] {
            return RegisterSettlementAccount(m_calc, account.id.c_str(), static_cast<QuindalMarginRule>(account.rule),
                                             spread(account.netting.calendar), spread(account.netting.interContract),
                                             account.netting.shortChargeRatio);
        });
    for (const Firm& firm : tree.firms) {
        const Account* const account = tree.AccountOf(firm);
        require("RegisterFirm " + firm.code, [&] {
            return RegisterFirm(m_calc, firm.code.c_str(), 0, firm.weight, firm.weightOfClients,
                                QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY, account == nullptr ? "" : account->id.c_str(),
                                spread(firm.netting.calendar), static_cast<QuindalMarginRule>(firm.rule),
                                spread(firm.netting.interContract), firm.netting.shortChargeRatio, 0);
        });
        if (firm.ratioContract.empty()) continue;
        require("InsertBrokerBaseContractParam " + firm.code, [&] {
            return InsertBrokerBaseContractParam(m_calc, firm.code.c_str(), firm.ratioContract.c_str(), firm.ratio);
        });
    }
    for (const Client& client : tree.clients)
        require("RegisterPart " + client.code, [&] {
            return quindal::test::RegisterClient(m_calc, client.code, client.rules, client.goRatio, client.weight);
        });
}

void Host::MoveClock(std::int64_t milliseconds) { ::MoveClock(std::chrono::milliseconds(milliseconds)); }

void Host::LookAtTheLink()
{
    MoveClock(BehindAnyPing);
    double ignored[5];
    // The link comes before everything else; nobody has an instrument without a code, and nothing happens.
    static_cast<void>(
        ::ChangeOrder(m_calc, "", "", 1, 1.0, 0, ignored, ignored + 1, ignored + 2, ignored + 3, ignored + 4));
}

void Host::SetServerAnswers(bool answers) { TheQueue().send = answers ? Z9ERR_OK : Z9ERR_MQ_TIMEOUT; }

void Host::ForgetWhatWasAsked()
{
    FakeQueue& queue = TheQueue();
    queue.calls.clear();
    queue.connectionStrings.clear();
    queue.waits.clear();
    queue.addressBuffers.clear();
    queue.requests.clear();
    queue.properties.clear();
}

} // namespace simulation
