// Sequences of calls over all 50 exported functions, through the whole client: mostly valid ones, of a small market and
// a small tree, with odd arguments here and there (CallArguments). Every code is one of the header's, a call that fails
// writes nothing, a null pointer never succeeds, a cursor gives as many entries as it has counted, and a client's GO is
// the same when it is asked for again. While no number was wild, a GO is a finite amount of 0 or more and nothing
// unforeseen happens.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include <pugixml.hpp>

#include "CallArguments.h"
#include "ExportCalls.h"
#include "ReplyQueue.h"
#include "Require.h"
#include "RiskArrayExports.h"
#include "TempDir.h"

namespace {

using Enums::IMSrvMessageType;

constexpr int MostCalls = 200;
constexpr std::int32_t MostClients = 20;

constexpr const char* Contracts[] = {"A", "B", "C", "INDX"};
constexpr const char* Groups[] = {"", "GROUP"};
constexpr const char* Futures[] = {"A-1", "A-2", "B-1", "B-2", "C-1", "T-1", "INDX-12.26", "INDX-3.27"};
constexpr const char* Tracked[] = {"", "", "", "A-1"};
constexpr const char* Series[] = {"A-S", "B-S", "C-S", "INDX-26NOV26"};
constexpr const char* Options[] = {"A-S-1", "A-S-2", "B-S-1", "C-S-1", "INDX-26NOV26-C3150"};
constexpr const char* Multilegs[] = {"A-1-2", "B-1-2", "C-1-2", "INDX-12.26-3.27"};
constexpr const char* Instruments[] = {"A-1",   "A-2",   "B-1",   "B-2",   "C-1",        "T-1",
                                       "A-S-1", "A-S-2", "B-S-1", "C-S-1", "INDX-12.26", "INDX-26NOV26-C3150"};
constexpr const char* Ordered[] = {"A-1",   "A-2",   "B-1", "T-1", "A-S-1", "A-S-2",
                                   "B-S-1", "C-S-1", "C-1", "B-2", "A-1-2", "INDX-12.26-3.27"};
constexpr const char* Accounts[] = {"ACCOUNT1", "ACCOUNT2"};
constexpr const char* AccountsAbove[] = {"ACCOUNT1", "ACCOUNT2", ""};
constexpr const char* Firms[] = {"AA01", "AA02"};
constexpr const char* Clients[] = {"AA01001", "AA01002", "AA02001", "AA02002"};
constexpr const char* Moments[] = {"", "2026/11/21/10/15/30"};
constexpr double Prices[] = {1000.0, 990.0, 1010.0, 0.0, 12.5};

bool IsCodeOfTheHeader(std::int32_t code)
{
#define QUINDAL_FUZZ_NUMBER(name, number, text) number,
    static constexpr std::int32_t codes[] = {QUINDAL_IM_CODES(QUINDAL_FUZZ_NUMBER)};
#undef QUINDAL_FUZZ_NUMBER
    return std::ranges::find(codes, code) != std::end(codes);
}

bool AreSame(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

/// The example market cut down to the first instruments of each kind.
const std::string& SmallMarket()
{
    static const std::string text = [] {
        pugi::xml_document document;
        Require(static_cast<bool>(document.load_file(QUINDAL_EXAMPLES "/market.xml")), "the example market is there");
        pugi::xml_node root = document.child("root");
        for (const auto& [kind, count] : {std::pair{"Currency", 1},
                                          {"BaseContract", 1},
                                          {"Futures", 2},
                                          {"VirtFutures", 1},
                                          {"Option", 2},
                                          {"Multileg", 2}}) {
            pugi::xml_node node = root.child(kind);
            for (int kept = 0; kept < count; ++kept)
                node = node.next_sibling(kind);
            while (node) {
                const pugi::xml_node next = node.next_sibling(kind);
                root.remove_child(node);
                node = next;
            }
        }
        std::ostringstream out;
        document.save(out, "", pugi::format_raw);
        return out.str();
    }();
    return text;
}

const char* IniFile()
{
    static const TempDir folder;
    static const std::string path = folder.Write("fuzzed.ini", "[QuindalIM::mq]\nport = 4001\ntimeout = 3000\n");
    return path.c_str();
}

/// The program that calls the library.
class Host
{
public:
    explicit Host(FuzzedDataProvider& bytes) : m_bytes(bytes), m_a(bytes)
    {
        SayWhoTheUserIs();
        Require(InitQuindalIM(IniFile(), "USER01", "secret") == 0, "the library starts");
        Require(CreateQuindalIMCalculator(&m_calc) == 0, "there is a calculator");
    }
    ~Host()
    {
        SayWhoTheUserIs();
        if (!m_isInitialised) static_cast<void>(InitQuindalIM(IniFile(), "USER01", "secret"));
        static_cast<void>(CreateQuindalIMCalculator(&m_calc));
        Require(ClearAll(m_calc) == 0, "everything can be cleared");
        Require(DestroyQuindalIMCalculator(m_calc) == 0, "the calculator can be destroyed");
        Require(DeInitQuindalIM() == 0, "the library stops");
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    void Play()
    {
        for (int call = 0; call < MostCalls && m_bytes.remaining_bytes() > 0; ++call) {
            m_a.Begin();
            (this->*Steps[static_cast<std::size_t>(m_a.Whole(0, static_cast<int>(Steps.size()) - 1))])();
        }
    }

private:
    // ---- Answers ----------------------------------------------------------------------------------------------------

    /// An answer that failed has left the places as they were.
    template <class T>
    void Answered(std::int32_t code, const T& places, const T& before)
    {
        Answered(code);
        Require(code == 0 || std::memcmp(&places, &before, sizeof places) == 0, "a call that fails writes nothing");
    }
    void Answered(std::int32_t code)
    {
        Require(IsCodeOfTheHeader(code), "every code is one of the header's");
        Require(std::strlen(GetErrorCodeDescription(code)) > 0, "every code has a text");
        Require(code != 0 || !m_a.HasNull(), "a null pointer is refused");
        const bool isUnforeseen = code == QUINDAL_ERR_COMMON_ERROR || code == QUINDAL_ERR_CALCGO_API_COMMON_ERROR;
        Require(!isUnforeseen || m_a.WasWild(), "nothing unforeseen happens");
    }

    void RequireGo(std::int32_t code, const char* client, const calls::Margins& margins)
    {
        if (code != 0) return;
        if (!m_a.WasWild())
            for (const double go : {margins.volatility, margins.delivery, margins.part})
                Require(go >= 0.0 && std::isfinite(go), "a GO is a finite amount of 0 or more");
        for (const char* const instrument : {"A-1", "INDX-12.26"}) {
            calls::Margins again;
            const std::int32_t asked = calls::Order(m_calc, client, instrument, 1, 1.0, 0, again);
            Answered(asked, again, calls::Margins());
            Require(asked != 0 || (AreSame(again.volatility, margins.volatility) &&
                                   AreSame(again.delivery, margins.delivery) && AreSame(again.part, margins.part)),
                    "a GO that is asked for again is the same");
        }
    }

    // ---- Library ----------------------------------------------------------------------------------------------------

    static void SayWhoTheUserIs()
    {
        static const std::string user =
            "<root><Clients part_count=\"" + std::to_string(MostClients) + "\" login_type=\"CLIENT\"/></root>";
        SetReply({IMSrvMessageType::ReplyUserInfo, {{"kv7go_error", 0}}, user});
    }
    void Create()
    {
        std::intptr_t calc = 77;
        const std::int32_t code = CreateQuindalIMCalculator(m_a.Place(calc));
        Answered(code, calc, std::intptr_t{77});
        if (code == 0) m_calc = calc;
    }
    void Destroy()
    {
        const std::int32_t code = DestroyQuindalIMCalculator(m_a.Handle(m_calc));
        Answered(code);
        if (code == 0) m_calc = 0;
    }
    void Init()
    {
        static constexpr const char* users[] = {"USER01", "", "a b"};
        static constexpr const char* passwords[] = {"secret", "", ";"};
        SayWhoTheUserIs();
        const char* const ini = m_a.IsOdd() ? "/nowhere/any.ini" : IniFile();
        const char* const user = m_a.Code(users);
        const std::int32_t code = InitQuindalIM(ini, user, m_a.Code(passwords));
        Require(IsCodeOfTheHeader(code), "every code is one of the header's");
        Require((code == QUINDAL_ERR_ALREADY_INITIALIZED) == m_isInitialised, "a library that is started says so");
        if (code == 0) m_isInitialised = true;
    }
    void DeInit()
    {
        const std::int32_t code = DeInitQuindalIM();
        Answered(code);
        Require((code == 0) == m_isInitialised, "a library that is started can be stopped");
        m_isInitialised = false;
    }
    void Texts()
    {
        Require(std::strlen(GetQuindalIMLibraryVersion()) > 0, "there is a version");
        Require(GetErrorCodeDescription(m_a.Integral<std::int32_t>(94811)) != nullptr, "every number has a text");
    }
    void Clear() { Answered(m_a.Flag() ? ClearAll(m_a.Handle(m_calc)) : ClearParts(m_a.Handle(m_calc))); }
    void CommonParams()
    {
        double edge = 77.0;
        Answered(SetCommonParams(m_a.Handle(m_calc), m_a.Number(0.5)));
        const std::int32_t code = GetCommonParams(m_a.Handle(m_calc), m_a.Place(edge));
        Answered(code, edge, 77.0);
        Require(code != 0 || edge >= 0.0, "an edge coefficient is never negative");
    }

    // ---- Instruments ------------------------------------------------------------------------------------------------

    void Download()
    {
        const bool isGood = !m_a.IsOdd();
        const std::string other = isGood ? "" : "<root>" + m_bytes.ConsumeRandomLengthString(200) + "</root>";
        SetReply({IMSrvMessageType::ReplyInstruments2, {{"snappy_support", 0}}, isGood ? SmallMarket() : other});
        const std::int32_t code = GetInstrumentParameters(m_a.Handle(m_calc), m_a.Code(Moments, true));
        Require(IsCodeOfTheHeader(code), "every code is one of the header's");
    }
    void Currency() { Answered(InsertCurrency(m_a.Handle(m_calc), m_a.Integral<std::int32_t>(1), m_a.Number(0.05))); }
    void BaseContract()
    {
        const std::intptr_t calc = m_a.Handle(m_calc);
        const char* const code = m_a.Code(Contracts);
        const char* const mcs = m_a.Code(Groups);
        const std::int32_t scenarios = m_a.Size(m_a.Flag() ? 3 : 5);
        const auto step = m_a.Integral<QuindalMSPType>(m_a.Flag() ? 1 : 0);
        const auto currency = m_a.Integral<std::int32_t>(1);
        std::array<double, 16> rates; // the minimum charge, then the market risks
        rates[0] = m_a.Number(0.05);
        for (std::size_t i = 1; i < rates.size(); ++i)
            rates[i] = m_a.Number(0.1 + 0.05 * static_cast<double>((i - 1) % 3));
        const auto limit1 = m_a.Integral<std::int64_t>(50);
        const auto limit2 = m_a.Integral<std::int64_t>(100);
        const std::int32_t points = m_a.Size(m_a.Flag() ? 4 : 1);
        const double window = m_a.Number(0.5);
        const auto model = m_a.Integral<QuindalOptionModel>(m_a.Flag() ? 1 : 0);
        const double spot = m_a.Number(1000.0);
        const auto assets = m_a.Integral<QuindalAssetClass>(m_a.Whole(1, 7));
        Answered(InsertBaseContract(calc, code, mcs, scenarios, step, currency, rates[0], rates[1], rates[2], rates[3],
                                    rates[4], rates[5], rates[6], rates[7], rates[8], rates[9], rates[10], rates[11],
                                    rates[12], rates[13], rates[14], rates[15], limit1, limit2, points, window, model,
                                    spot, assets, m_a.Number(0.0)));
    }
    void FuturesContract()
    {
        static constexpr QuindalAttribute attributes[] = {QUINDAL_ATTRIBUTE_NONE, QUINDAL_ATTRIBUTE_NONE,
                                                          QUINDAL_ATTRIBUTE_COLLATERAL, QUINDAL_ATTRIBUTE_TAS};
        const std::intptr_t calc = m_a.Handle(m_calc);
        const char* const code = m_a.Code(Futures);
        const char* const contract = m_a.Code(Contracts);
        const double price = m_a.Number(m_a.OneOf(Prices));
        const auto aspect = m_a.Integral<QuindalSpreadAspect>(m_a.Flag() ? 2 : 0);
        std::array<double, 8> numbers;
        static constexpr std::array<double, 8> usual{1.0, 1000.0, 1.0, 1.0, 0.01, 0.02, 0.25, 1000.0};
        for (std::size_t i = 0; i < usual.size(); ++i)
            numbers[i] = m_a.Number(usual[i]);
        const auto attribute = m_a.Integral<QuindalAttribute>(m_a.OneOf(attributes));
        const double up = m_a.Number(0.0);
        const double down = m_a.Number(0.0);
        const auto half = m_a.Integral<std::int8_t>(0);
        Answered(InsertFutures(calc, code, contract, price, aspect, numbers[0], numbers[1], numbers[2], numbers[3],
                               numbers[4], numbers[5], numbers[6], numbers[7], attribute, up, down, half,
                               m_a.Code(Tracked)));
    }
    void OptionSeries()
    {
        calls::OptionSeriesArguments v;
        for (double* const number : {&v.A_Black,
                                     &v.B_Black,
                                     &v.C_Black,
                                     &v.D_Black,
                                     &v.E_Black,
                                     &v.S_Black,
                                     &v.StrikeStep,
                                     &v.VolatilityRisk,
                                     &v.VolatilityRiskMismatch,
                                     &v.TimeToExpiration,
                                     &v.A_Bach,
                                     &v.B_Bach,
                                     &v.C_Bach,
                                     &v.D_Bach,
                                     &v.E_Bach,
                                     &v.S_Bach,
                                     &v.M_Bach,
                                     &v.MinStep,
                                     &v.MinStepPrice,
                                     &v.r,
                                     &v.InterestRateRiskUp,
                                     &v.InterestRateRiskDown,
                                     &v.FixedSpotDiscount,
                                     &v.ProjectedSpotDiscount,
                                     &v.r2,
                                     &v.InterestRate2RiskUp,
                                     &v.InterestRate2RiskDown})
            *number = m_a.Number(*number);
        for (std::int32_t* const number : {&v.ExpClearingsSA, &v.ExpClearingsBF, &v.ExpClearingsCC, &v.LotCoeff})
            *number = m_a.Integral<std::int32_t>(1);
        v.UseNullVolat = m_a.Integral<std::int8_t>(0);
        v.MarginStyle = m_a.Integral<std::int32_t>(m_a.Whole(0, 1));
        v.SettlementType = m_a.Integral<std::int32_t>(m_a.Whole(0, 1));
        v.ExerciseStyle = m_a.Integral<std::int32_t>(m_a.Whole(0, 1));
        v.SubRisk = m_a.Flag() ? 1 : 0;
        v.SpreadAspect = m_a.Integral<std::int8_t>(m_a.Flag() ? 2 : 0);
        v.EnforceHalfNetting = m_a.Integral<std::int8_t>(0);
        const std::intptr_t calc = m_a.Handle(m_calc);
        const char* const code = m_a.Code(Series);
        Answered(v.Insert(calc, code, m_a.Code(Futures)));
    }
    void Option()
    {
        const std::intptr_t calc = m_a.Handle(m_calc);
        const char* const code = m_a.Code(Options);
        const char* const series = m_a.Code(Series);
        const double strike = m_a.Number(m_a.OneOf(Prices));
        const auto type = m_a.Integral<QuindalOptionType>(m_a.Flag() ? 1 : 2);
        Answered(InsertOption(calc, code, series, strike, type, m_a.Number(10.0)));
    }
    void Multileg()
    {
        const std::intptr_t calc = m_a.Handle(m_calc);
        Answered(InsertMultileg(calc, m_a.Code(Multilegs)));
    }

    // ---- Reading back -----------------------------------------------------------------------------------------------

    /// Walks over one kind from its first entry; `next` gives the code of one step.
    template <class First, class Next>
    void Walk(const First& first, const Next& next)
    {
        std::int32_t count = -7;
        const std::int32_t code = first(m_a.Handle(m_calc), m_a.Place(count));
        Answered(code, count, -7);
        if (code != 0) return;
        for (std::int32_t left = count; left > 0; --left)
            Require(next() != QUINDAL_ERR_END_OF_DATA, "a cursor gives as many entries as it has counted");
        Require(next() == QUINDAL_ERR_END_OF_DATA, "and no more");
        static_cast<void>(next());
    }
    /// One step into an entry, whose buffers have the capacity. On 7 the sizes are written and nothing else.
    template <class Entry, class Get>
    std::int32_t Step(Get get, std::int32_t Entry::*first, std::int32_t Entry::*second, std::int32_t Entry::*third)
    {
        Entry entry;
        std::array<std::int32_t Entry::*, 3> sizes{first, second, third};
        for (std::int32_t Entry::*const size : sizes)
            if (size != nullptr) entry.*size = m_a.IsOdd() ? m_a.Whole(-1, 8) : 32;
        const Entry before = entry;
        const std::int32_t code = get(entry);
        Answered(code);
        if (code == QUINDAL_ERR_COMMON_BUFFER_TOO_SMALL)
            for (std::int32_t Entry::*const size : sizes)
                if (size != nullptr) entry.*size = before.*size;
        Require(code == 0 || entry == before, "a step that fails writes nothing");
        return code;
    }
    void ReadCurrencies()
    {
        Walk(SetOnFirstCurrency, [this] {
            std::int32_t id = 0;
            double radius = 0.0;
            const std::int32_t code = GetNextCurrency(m_calc, &id, &radius);
            Answered(code);
            return code;
        });
    }
    void ReadBaseContracts()
    {
        using Entry = calls::BaseContractEntry;
        Walk(SetOnFirstBaseContract, [this] {
            return Step<Entry>([this](Entry& e) { return e.GetNext(m_calc); }, &Entry::codeSize, &Entry::mcsSize,
                               nullptr);
        });
    }
    void ReadFutures()
    {
        using Entry = calls::FuturesEntry;
        Walk(SetOnFirstFutures, [this] {
            const auto level = m_a.Integral<QuindalClientRiskLevel>(0);
            return Step<Entry>([&](Entry& e) { return e.GetNext(m_calc, level); }, &Entry::codeSize,
                               &Entry::baseContractSize, &Entry::trackedSize);
        });
    }
    void ReadOptionSeries()
    {
        using Entry = calls::OptionSeriesEntry;
        Walk(SetOnFirstOptionSeries, [this] {
            return Step<Entry>([this](Entry& e) { return e.GetNext(m_calc); }, &Entry::codeSize, &Entry::futuresSize,
                               nullptr);
        });
    }
    void ReadOptions()
    {
        using Entry = calls::OptionEntry;
        Walk(SetOnFirstOption, [this] {
            return Step<Entry>([this](Entry& e) { return e.GetNext(m_calc); }, &Entry::codeSize, &Entry::seriesSize,
                               nullptr);
        });
    }
    void ReadMultilegs()
    {
        Walk(SetOnFirstMultileg, [this] {
            std::array<char, 32> buffer{};
            std::int32_t size = m_a.IsOdd() ? m_a.Whole(-1, 8) : 32;
            const std::int32_t code = GetNextMultileg(m_calc, buffer.data(), &size);
            Answered(code);
            Require(code == 0 || buffer == std::array<char, 32>{}, "a step that fails writes nothing");
            return code;
        });
    }

    // ---- Participants and margins -----------------------------------------------------------------------------------

    [[nodiscard]] QuindalSpreadMarginType Spread() { return m_a.Integral<std::int8_t>(m_a.Flag() ? 3 : 4); }
    [[nodiscard]] QuindalMarginRule Rule()
    {
        return m_a.Integral<std::int8_t>(static_cast<std::int8_t>(m_a.Whole(2, 4)));
    }
    void Account()
    {
        const std::intptr_t calc = m_a.Handle(m_calc);
        const char* const id = m_a.Code(Accounts);
        const QuindalMarginRule rule = Rule();
        const QuindalSpreadMarginType calendar = Spread();
        const QuindalSpreadMarginType contracts = Spread();
        Answered(RegisterSettlementAccount(calc, id, rule, calendar, contracts, m_a.Number(1.0)));
    }
    void Firm()
    {
        const std::intptr_t calc = m_a.Handle(m_calc);
        const char* const code = m_a.Code(Firms);
        const auto clearings = m_a.Integral<std::int32_t>(1);
        const double weight = m_a.Number(0.5);
        const double weightOfClients = m_a.Number(0.5);
        const auto type = m_a.Integral<QuindalBrokerAccountType>(m_a.Whole(0, 2));
        const char* const account = m_a.Code(AccountsAbove, true);
        const QuindalSpreadMarginType calendar = Spread();
        const QuindalMarginRule rule = Rule();
        const QuindalSpreadMarginType contracts = Spread();
        Answered(RegisterFirm(calc, code, clearings, weight, weightOfClients, type, account, calendar, rule, contracts,
                              m_a.Number(1.0), 0));
    }
    void Part()
    {
        const std::intptr_t calc = m_a.Handle(m_calc);
        const char* const code = m_a.Code(Clients);
        const auto discount = m_a.Integral<std::int32_t>(0);
        const auto clearings = m_a.Integral<std::int32_t>(1);
        const double weight = m_a.Number(0.5);
        const QuindalSpreadMarginType calendar = Spread();
        const QuindalSpreadMarginType contracts = Spread();
        const double ratio = m_a.Number(1.0);
        const double charge = m_a.Number(1.0);
        Answered(RegisterPart(calc, code, discount, clearings, weight, calendar, contracts, ratio, charge,
                              m_a.Integral<QuindalClientRiskLevel>(m_a.Whole(0, 4)), 0));
    }
    void OtherParameters()
    {
        const std::intptr_t calc = m_a.Handle(m_calc);
        const char* const code = m_a.Code(Clients);
        const auto discount = m_a.Integral<std::int32_t>(m_a.Whole(0, 1));
        const auto clearings = m_a.Integral<std::int32_t>(m_a.Whole(-1, 2));
        Answered(ChangePart(calc, code, discount, clearings, m_a.Number(0.25)));
    }
    void Ratio()
    {
        const std::intptr_t calc = m_a.Handle(m_calc);
        const char* const firm = m_a.Code(Firms);
        const char* const contract = m_a.Code(Contracts);
        Answered(InsertBrokerBaseContractParam(calc, firm, contract, m_a.Number(1.5)));
    }
    void Position()
    {
        const std::intptr_t calc = m_a.Handle(m_calc);
        const auto level = m_a.Integral<QuindalAccountHierarchyRecordType>(
            static_cast<std::int8_t>(std::min(m_a.Whole(0, 7), static_cast<int>(QUINDAL_ACCOUNT_HIERARCHY_CLIENT))));
        const char* const code = level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT   ? m_a.Code(Clients)
                                 : level == QUINDAL_ACCOUNT_HIERARCHY_BROKER ? m_a.Code(Firms)
                                                                             : m_a.Code(Accounts);
        const char* const instrument = m_a.Code(Instruments);
        const auto quantity = m_a.Integral<std::int64_t>(m_a.Whole(-100, 100));
        const double price = m_a.Number(m_a.OneOf(Prices));
        calls::Margins m;
        const std::int32_t result = SetPosition(
            calc, code, instrument, quantity, price, m_a.Place(m.volatility), m_a.Place(m.delivery), m_a.Place(m.part),
            m_a.Place(m.firm), m_a.Place(m.account), level, m_a.Integral<std::int64_t>(m_a.Whole(-5, 5)));
        Answered(result, m, calls::Margins());
        if (level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT)
            RequireGo(result, code, m);
        else
            Require(m == calls::Margins(), "a position above the clients writes nothing");
    }
    void Order()
    {
        const std::intptr_t calc = m_a.Handle(m_calc);
        const char* const code = m_a.Code(Clients);
        const char* const instrument = m_a.Code(Ordered);
        const auto isBuy = m_a.Integral<std::int32_t>(m_a.Whole(0, 1));
        const double price = m_a.Number(m_a.OneOf(Prices));
        const auto quantity = m_a.Integral<std::int64_t>(m_a.Whole(-20, 100));
        calls::Margins m;
        const std::int32_t result =
            ChangeOrder(calc, code, instrument, isBuy, price, quantity, m_a.Place(m.volatility), m_a.Place(m.delivery),
                        m_a.Place(m.part), m_a.Place(m.firm), m_a.Place(m.account));
        Answered(result, m, calls::Margins());
        RequireGo(result, code, m);
    }

    // ---- Not supported ----------------------------------------------------------------------------------------------

    void RiskArrays()
    {
        const std::intptr_t calc = m_a.Handle(m_calc);
        const auto type = m_a.Integral<std::int32_t>(32);
        const char* const futures = m_a.Code(Futures);
        const char* const client = m_a.Code(Clients);
        double cell = 7.0;
        std::int32_t points = 8;
        double* const cells = m_a.Place(cell);
        std::int32_t* const counts = m_a.Place(points);
        ExtraRisksInfo info{};
        ExtraRisksInfo* const extra = m_a.Place(info);
        for (const auto matrix : calls::RiskMatrices)
            RequireNotSupported(matrix(calc, type, futures, client, cells, counts, counts, extra));
        for (const auto row : calls::RiskRows)
            RequireNotSupported(row(calc, type, futures, client, cells, counts, extra));
        RequireNotSupported(GetRiskPoints(calc, type, futures, m_a.Flag(), cells, counts, counts, extra, 0));
        RequireNotSupported(GetOptionRisksArray(calc, type, futures, cells, counts, counts, extra, 0));
        Require(cell == 7.0 && points == 8 && info.ZL == 0.0, "a function that is not supported writes nothing");
    }
    static void RequireNotSupported(std::int32_t code)
    {
        Require(code == QUINDAL_ERR_NOT_SUPPORTED, "a function that is not supported says so");
    }

    // What makes a book stands here more often than what clears it.
    static constexpr std::array Steps{&Host::Position,
                                      &Host::Position,
                                      &Host::Position,
                                      &Host::Position,
                                      &Host::Order,
                                      &Host::Order,
                                      &Host::Order,
                                      &Host::Order,
                                      &Host::Part,
                                      &Host::Part,
                                      &Host::Firm,
                                      &Host::Account,
                                      &Host::Ratio,
                                      &Host::Option,
                                      &Host::Option,
                                      &Host::OptionSeries,
                                      &Host::OptionSeries,
                                      &Host::Multileg,
                                      &Host::Currency,
                                      &Host::FuturesContract,
                                      &Host::FuturesContract,
                                      &Host::FuturesContract,
                                      &Host::BaseContract,
                                      &Host::Download,
                                      &Host::BaseContract,
                                      &Host::OtherParameters,
                                      &Host::CommonParams,
                                      &Host::Clear,
                                      &Host::Texts,
                                      &Host::RiskArrays,
                                      &Host::ReadCurrencies,
                                      &Host::ReadBaseContracts,
                                      &Host::ReadFutures,
                                      &Host::ReadOptions,
                                      &Host::ReadMultilegs,
                                      &Host::ReadOptionSeries,
                                      &Host::Init,
                                      &Host::DeInit,
                                      &Host::Create,
                                      &Host::Destroy};

    FuzzedDataProvider& m_bytes;
    CallArguments m_a;
    std::intptr_t m_calc = 0; // 0 while there is none
    bool m_isInitialised = true;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider bytes(data, size);
    Host host(bytes);
    host.Play();
    return 0;
}
