// Plays a seeded script of calls on a library and writes down what every one of them answered. Two builds of the
// library that compute and say the same write the same files, to the byte: scripts/same-bytes.sh compares them.
//   call_script INI USER PASSWORD LIBRARY FOLDER
//     INI      leads to a live server that hands out the market of the examples and allows some hundred clients
//     FOLDER   takes calls.txt, library.log and trace.log
//
// The script has rounds. Each fills the library with a market and an account tree of its own, moves positions, orders
// and parameters about, offers what must be refused, and reads everything back.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "Draw.h"
#include "ExportRecorder.h"

namespace {

using replay::Draw;

constexpr std::size_t CallsOfScript = 10000;
constexpr std::size_t CallsOfRound = 1000;
constexpr std::size_t ExportedFunctions = 50;
constexpr std::int32_t EndOfData = 94810;

/// One call of the library under test, by name and with what it reads; what it writes gets cells.
#define CALL(function, ...) m_calls.Call(#function, &::function __VA_OPT__(, ) __VA_ARGS__)

struct Futures
{
    std::string code;
    std::string contract;
    double price; // of its grid
    bool tracks;  // prices are offsets
    bool collateral;
};

struct Option
{
    std::string code;
    double price;
};

class Script
{
public:
    Script(const char* library, std::FILE* out, std::string ini, const char* user, const char* password)
        : m_calls(library, out), m_ini(std::move(ini)), m_user(user), m_password(password)
    {}

    void Play()
    {
        CallBeforeTheStart();
        Start();
        for (int round = 0; m_calls.Calls() + CallsOfRound + CallsOfRound / 2 < CallsOfScript; ++round)
            PlayRound(round);
        while (m_calls.Calls() < CallsOfScript - 3)
            MoveOnce();
        CALL(ClearAll, m_calc);
        CALL(DestroyQuindalIMCalculator, m_calc);
        CALL(DeInitQuindalIM);
    }
    [[nodiscard]] const replay::ExportRecorder& Calls() const noexcept { return m_calls; }

private:
    // ---- The library ------------------------------------------------------------------------------------------------

    void CallBeforeTheStart()
    {
        CALL(GetQuindalIMLibraryVersion);
        for (const int code : {0,     2,     7,     14,    94260, 94309, 94312, 94314, 94395, 94510, 94519, 94520,
                               94521, 94714, 94720, 94808, 94809, 94811, 94813, 94819, 94821, 94995, -1,    123456})
            CALL(GetErrorCodeDescription, code);
        CALL(InitQuindalIM, (m_ini + ".none").c_str(), m_user, m_password);
        CALL(ClearAll, std::intptr_t{0});
        CALL(SetOnFirstFutures, std::intptr_t{0});
        CALL(DeInitQuindalIM);
    }
    void Start()
    {
        CALL(InitQuindalIM, m_ini.c_str(), m_user, m_password);
        Create();
        CALL(InitQuindalIM, m_ini.c_str(), m_user, m_password);
    }
    void Create()
    {
        CALL(CreateQuindalIMCalculator);
        m_calc = m_calls.Handle();
    }
    void StartAnew()
    {
        CALL(DeInitQuindalIM);
        CALL(ClearParts, m_calc);
        CALL(InitQuindalIM, m_ini.c_str(), m_user, m_password);
        CALL(DestroyQuindalIMCalculator, m_calc);
        CALL(DestroyQuindalIMCalculator, m_calc + 1);
        Create();
    }

    void PlayRound(int round)
    {
        const std::size_t end = m_calls.Calls() + CallsOfRound;
        CALL(ClearAll, m_calc);
        if (round % 4 == 3) StartAnew();
        CALL(SetCommonParams, m_calc, m_draw.OneOf({0.75, 0.5, 0.25, -1.0, std::nan("")}));
        CALL(GetCommonParams, m_calc);
        round % 5 == 4 ? FetchMarket() : InsertMarket();
        RegisterTree();
        if (round % 3 == 2) RegisterTreeAnew();
        for (int i = 0; i < 10; ++i)
            OfferNonsense();
        const std::size_t toReadBack = 30 + m_futures.size() + m_options.size() + m_options.size() / 2;
        while (m_calls.Calls() + toReadBack < end) {
            MoveOnce();
            if (m_draw.OnceIn(60)) OfferNonsense();
        }
        ReadBack();
        AskForRiskArrays();
    }

    // ---- The market -------------------------------------------------------------------------------------------------

    void ForgetMarket()
    {
        m_futures.clear();
        m_options.clear();
        m_multilegs.clear();
        m_contracts.clear();
        m_orders.clear();
    }

    /// The market of the examples; some of its instruments by their codes.
    void FetchMarket()
    {
        ForgetMarket();
        CALL(GetInstrumentParameters, m_calc, "");
        CALL(GetInstrumentParameters, m_calc, ""); // what is there already is refused
        m_contracts = {"INDX", "INDM", "CRUD", "EURU", "RATE", "ALFA"};
        m_futures = {{"INDX-12.26", "INDX", 3302.0, false, false}, {"INDX-3.27", "INDX", 3365.0, false, false},
                     {"INDM-12.26", "INDM", 3302.0, false, false}, {"CRUD-12.26", "CRUD", 71.0, false, false},
                     {"CRUD-3.27", "CRUD", 71.5, false, false},    {"CRUT-12.26", "CRUT", 71.0, true, false},
                     {"EURU-12.26", "EURU", 1.086, false, false},  {"RATE-3.27", "RATE", 14.3, false, false},
                     {"ALFA-SPOT", "ALFA", 26500.0, false, true},  {"ALFA-12.26", "ALFA", 26700.0, false, false}};
        m_options = {{"INDX-17DEC26-P3100", 9.5},  {"INDX-17DEC26-C3500", 8.0},   {"CRUD-17DEC26-C74", 1.95},
                     {"CRUD-18MAR27-C74", 2.5},    {"EURU-17DEC26-C1.1", 0.0031}, {"ALFS-17DEC26-C28000", 285.0},
                     {"INDX-26NOV26-C3300", 34.0}, {"INDX-26NOV26-P3300", 32.5}};
        m_multilegs = {"INDX-12.26-3.27", "INDX-3.27-6.27"};
    }

    void InsertMarket()
    {
        ForgetMarket();
        for (const int id : {1, 2, 1})
            CALL(InsertCurrency, m_calc, id, m_draw.Grid(0.0, 0.01, 8));
        m_pointsOfGroup = m_draw.Whole(1, 12);
        for (const char* const code : {"A", "B", "C", "D", "E"})
            InsertFamily(code);
        const Futures tracked = m_futures.front();
        InsertContract("T", "");
        InsertFutures("T-1", "T", tracked.price, QUINDAL_ATTRIBUTE_TAS, tracked.code);
    }

    /// A base contract, three futures and their series; a calendar spread of the first two and of the last two.
    void InsertFamily(const std::string& code)
    {
        InsertContract(code, code < "C" ? "GROUP" : "");
        for (const char* const month : {"-1", "-2", "-3"}) {
            const double price = m_draw.Grid(80.0, 2.5, 20);
            const bool collateral = m_draw.OnceIn(6);
            InsertFutures(code + month, code, price, collateral ? QUINDAL_ATTRIBUTE_COLLATERAL : QUINDAL_ATTRIBUTE_NONE,
                          "");
            for (int series = m_draw.Whole(0, 2); series > 0; --series)
                InsertSeries(m_futures.back(), code + month + "-S" + std::to_string(series));
        }
        for (const char* const legs : {"-1-2", "-2-3"}) {
            m_multilegs.push_back(code + legs);
            CALL(InsertMultileg, m_calc, m_multilegs.back().c_str());
        }
    }

    void InsertContract(const std::string& code, const std::string& group)
    {
        m_contracts.push_back(code);
        const double rate = m_draw.Grid(0.04, 0.02, 8);
        const std::int64_t limit = m_draw.Whole(0, 500);
        CALL(InsertBaseContract, m_calc, code.c_str(), group.c_str(), m_draw.OneOf({3, 5, 4}),
             m_draw.OneOf<int>({QUINDAL_MSP_FIXED_PRICE_STEP, QUINDAL_MSP_CURRENCY_INDICATOR_PRICE_STEP}),
             m_draw.Whole(1, 2), m_draw.Grid(0.0, 0.05, 22), rate, rate * 1.25, rate * 1.75, rate * 0.9, rate * 1.1,
             rate * 1.6, rate * 1.15, rate * 1.4, rate * 2.0, rate * 1.3, rate * 1.6, rate * 2.25, rate * 1.45,
             rate * 1.8, rate * 2.5, limit, limit + m_draw.Whole(0, 1000),
             group.empty() ? m_draw.Whole(1, 40) : m_pointsOfGroup, m_draw.Grid(0.0, 0.1, 11),
             m_draw.OneOf<int>({QUINDAL_OPTION_MODEL_BLACK_SCHOLES, QUINDAL_OPTION_MODEL_BACHELIER}),
             m_draw.Grid(50.0, 10.0, 20),
             m_draw.OneOf<int>({QUINDAL_ASSET_CLASS_STOCK, QUINDAL_ASSET_CLASS_CURRENCY, QUINDAL_ASSET_CLASS_INDEX,
                                QUINDAL_ASSET_CLASS_COMMODITY, QUINDAL_ASSET_CLASS_PERCENTAGE}),
             m_draw.Grid(0.0, 0.1, 4));
    }

    void InsertFutures(const std::string& code, const std::string& contract, double price, int attribute,
                       const std::string& tracked)
    {
        m_futures.push_back(
            {code, contract, price, attribute == QUINDAL_ATTRIBUTE_TAS, attribute == QUINDAL_ATTRIBUTE_COLLATERAL});
        CALL(InsertFutures, m_calc, code.c_str(), contract.c_str(), price, AnySpreadAspect(),
             m_draw.OneOf({0.25, 1.0, 7.75}), price + m_draw.Grid(-0.5, 0.125, 9), m_draw.OneOf({0.01, 0.5, 1.0}),
             m_draw.OneOf({1.0, 10.0, 100.0}), m_draw.Grid(0.0, 0.01, 5), m_draw.Grid(0.0, 0.01, 5),
             m_draw.Grid(0.05, 0.11, 12), price + m_draw.Grid(-3.0, 0.5, 13), attribute, m_draw.Grid(0.0, 0.004, 4),
             m_draw.Grid(0.0, 0.004, 4), m_draw.OnceIn(5), tracked.c_str());
    }
    [[nodiscard]] int AnySpreadAspect()
    {
        return m_draw.OnceIn(4) ? QUINDAL_SPREAD_ASPECT_NOT_IN_SPREAD : QUINDAL_SPREAD_ASPECT_IN_SPREAD;
    }

    void InsertSeries(const Futures& futures, const std::string& code)
    {
        const bool paidAtOnce = futures.collateral || m_draw.OnceIn(2);
        const int lots = m_draw.OneOf({1, 1, 2});
        CALL(InsertOptionSeries, m_calc, code.c_str(), futures.code.c_str(), m_draw.Grid(5.0, 5.0, 10),
             m_draw.Grid(-2.0, 2.0, 8), m_draw.Grid(0.0, 0.5, 4), m_draw.Grid(-6.0, 2.0, 7), m_draw.Grid(1.0, 3.5, 5),
             m_draw.OnceIn(2), m_draw.Grid(-0.02, 0.01, 5), m_draw.OneOf({0.25, 1.0, 2.5, 5.0}), m_draw.Whole(0, 3),
             m_draw.Whole(0, 3), m_draw.Whole(0, 4), m_draw.Grid(0.0, 0.1, 6), m_draw.Grid(0.0, 0.05, 5),
             m_draw.OneOf({0.00006, 0.01, 0.08, 0.3, 1.2}), m_draw.Grid(0.5, 0.25, 6), m_draw.Grid(-0.1, 0.1, 5),
             m_draw.Grid(0.0, 0.5, 4), m_draw.Grid(-0.2, 0.1, 5), m_draw.Grid(1.0, 3.5, 5), m_draw.Grid(-0.1, 0.05, 5),
             m_draw.Grid(5.0, 5.0, 6), paidAtOnce ? QUINDAL_MARGIN_STYLE_EQUITY : QUINDAL_MARGIN_STYLE_FUTURES,
             m_draw.Whole(0, 1), m_draw.Whole(0, 1), m_draw.OnceIn(2), AnySpreadAspect(), m_draw.OnceIn(3),
             m_draw.OneOf({0.01, 0.25}), m_draw.OneOf({0.25, 1.0, 7.75}), lots, m_draw.Grid(0.0, 0.05, 4),
             m_draw.Grid(0.0, 0.01, 4), m_draw.Grid(0.0, 0.01, 4), m_draw.Grid(0.0, 0.5, 3), m_draw.Grid(0.0, 0.5, 3),
             m_draw.Grid(0.0, 0.05, 4), m_draw.Grid(0.0, 0.01, 4), m_draw.Grid(0.0, 0.01, 4));
        for (int i = m_draw.Whole(1, 3); i > 0; --i) {
            m_options.push_back({code + "-" + std::to_string(i), m_draw.Grid(0.25, 0.5, 20)});
            CALL(InsertOption, m_calc, m_options.back().code.c_str(), code.c_str(),
                 (futures.price + m_draw.Grid(-10.0, 1.0, 21)) * (paidAtOnce ? lots : 1), m_draw.Whole(1, 2),
                 m_options.back().price);
        }
    }

    // ---- The account tree -------------------------------------------------------------------------------------------

    [[nodiscard]] int AnyRule()
    {
        return m_draw.OneOf<int>(
            {QUINDAL_MARGIN_RULE_GROSS, QUINDAL_MARGIN_RULE_HALF_NETTING, QUINDAL_MARGIN_RULE_NETTING});
    }
    [[nodiscard]] int AnySpread()
    {
        return m_draw.OneOf<int>({QUINDAL_SPREAD_MARGIN_TYPE_UNUSED, QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING,
                                  QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_SPREAD_MARGIN_TYPE_NETTING});
    }

    /// An account and a firm of each rule, firms without an account, and clients of every risk level.
    void RegisterTree()
    {
        m_clients.clear();
        m_firms.clear();
        m_accounts.clear();
        for (const int rule :
             {QUINDAL_MARGIN_RULE_GROSS, QUINDAL_MARGIN_RULE_HALF_NETTING, QUINDAL_MARGIN_RULE_NETTING}) {
            m_accounts.push_back("ACCOUNT" + std::to_string(rule));
            CALL(RegisterSettlementAccount, m_calc, m_accounts.back().c_str(), rule, AnySpread(), AnySpread(),
                 m_draw.Grid(0.0, 0.5, 6));
        }
        for (int i = 1; i <= 7; ++i)
            RegisterFirm("AA0" + std::to_string(i), i <= 6 ? m_accounts[static_cast<std::size_t>((i - 1) / 2)] : "");
    }
    void RegisterTreeAnew()
    {
        for (int i = 0; i < 20; ++i)
            MoveOnce();
        CALL(ClearParts, m_calc);
        m_orders.clear();
        RegisterTree();
    }
    void RegisterFirm(const std::string& code, const std::string& account)
    {
        m_firms.push_back(code);
        CALL(RegisterFirm, m_calc, code.c_str(), m_draw.Whole(0, 3), m_draw.Grid(0.0, 0.25, 5),
             m_draw.Grid(0.0, 0.25, 5), m_draw.Whole(0, 2), account.c_str(), AnySpread(), AnyRule(), AnySpread(),
             m_draw.Grid(0.0, 0.5, 6), 0);
        CALL(InsertBrokerBaseContractParam, m_calc, code.c_str(), m_draw.OneOf(m_contracts).c_str(),
             m_draw.Grid(0.5, 0.25, 8));
        for (int client = 0; client < 3; ++client) {
            m_clients.push_back(code + "00" + std::to_string(client));
            CALL(RegisterPart, m_calc, m_clients.back().c_str(), m_draw.OnceIn(3), m_draw.Whole(-1, 4),
                 m_draw.OneOf({-1.0, 0.0, 0.5, 1.0}), AnySpread(), AnySpread(), m_draw.Grid(0.5, 0.25, 5),
                 m_draw.Grid(0.0, 0.5, 6), m_draw.Whole(0, 4), 0);
        }
    }

    // ---- What changes -----------------------------------------------------------------------------------------------

    void MoveOnce()
    {
        if (m_draw.OnceIn(20)) return ChangeClient();
        if (m_draw.OnceIn(3)) return SetAnyPosition();
        PlaceAnyOrder();
    }
    [[nodiscard]] const std::string& AnyClient() { return m_draw.OneOf(m_clients); }
    [[nodiscard]] std::int64_t AnyQuantity()
    {
        return m_draw.OnceIn(10) ? 0 : m_draw.Whole(-500, 500) * (m_draw.OnceIn(20) ? 1000 : 1);
    }
    [[nodiscard]] double Near(const Futures& futures)
    {
        if (m_draw.OnceIn(6)) return 0.0;
        return (futures.tracks ? 0.0 : futures.price) + m_draw.Grid(-4.0, 0.25, 33);
    }
    [[nodiscard]] double Near(const Option& option)
    {
        return m_draw.OnceIn(6) ? 0.0 : option.price + m_draw.Grid(0.0, 0.25, 17);
    }

    void ChangeClient()
    {
        CALL(ChangePart, m_calc, AnyClient().c_str(), m_draw.OnceIn(2), m_draw.Whole(-1, 4), m_draw.Grid(0.0, 0.25, 5));
    }

    void SetAnyPosition()
    {
        if (!m_options.empty() && m_draw.OnceIn(2)) {
            const Option& option = m_draw.OneOf(m_options);
            SetPositionOfAnybody(option.code, Near(option));
        } else {
            const Futures& futures = m_draw.OneOf(m_futures);
            SetPositionOfAnybody(futures.code, Near(futures));
        }
    }
    void SetPositionOfAnybody(const std::string& instrument, double price)
    {
        const int level = m_draw.OneOf<int>({2, 2, 2, 2, 1, 0});
        const std::string& code = m_draw.OneOf(level == 2 ? m_clients : level == 1 ? m_firms : m_accounts);
        const std::int64_t quantity = AnyQuantity();
        CALL(SetPosition, m_calc, code.c_str(), instrument.c_str(), quantity, price, level,
             m_draw.OnceIn(3) ? AnyQuantity() : quantity);
    }

    void PlaceAnyOrder()
    {
        const int kind = m_draw.Whole(0, 2);
        if (kind == 0 && !m_options.empty()) {
            const Option& option = m_draw.OneOf(m_options);
            PlaceOrder(option.code, Near(option));
        } else if (kind == 1) {
            PlaceOrder(m_draw.OneOf(m_multilegs), m_draw.Grid(-20.0, 0.5, 80) + 0.00001);
        } else {
            const Futures& futures = m_draw.OneOf(m_futures);
            PlaceOrder(futures.code, Near(futures));
        }
    }
    /// An order that came in is taken out again sooner or later, in part or as a whole.
    void PlaceOrder(const std::string& instrument, double price)
    {
        if (!m_orders.empty() && m_draw.OnceIn(3)) {
            const Order order = m_draw.OneOf(m_orders);
            ChangeOrder({order.client, order.instrument, order.buy, order.price, -order.quantity});
        } else {
            m_orders.push_back({AnyClient(), instrument, m_draw.OnceIn(2), price, m_draw.Whole(1, 500)});
            ChangeOrder(m_orders.back());
        }
    }
    struct Order
    {
        std::string client;
        std::string instrument;
        bool buy;
        double price;
        std::int64_t quantity;
    };
    void ChangeOrder(const Order& order)
    {
        CALL(ChangeOrder, m_calc, order.client.c_str(), order.instrument.c_str(), order.buy, order.price,
             order.quantity);
    }

    // ---- What must be refused ---------------------------------------------------------------------------------------

    [[nodiscard]] double BadNumber()
    {
        using Limits = std::numeric_limits<double>;
        return m_draw.OneOf({-1.0, 0.0, 1e12, 1e300, Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()});
    }
    [[nodiscard]] const char* BadCode()
    {
        return m_draw.OneOf({"", "A-", "AA", "AA01", "AA01000", "AA99000", "ZZ01000", "A-9", "--", "A-1-9",
                             "far too long to be the code of anything", static_cast<const char*>(nullptr)});
    }

    void OfferNonsense()
    {
        switch (m_draw.Whole(0, 9)) {
        case 0:
            return OfferBadInstruments();
        case 1:
            return OfferBadFutures();
        case 2:
            return OfferBadParticipants();
        case 3:
            CALL(InsertMultileg, m_calc, BadCode());
            return;
        case 4:
            CALL(ChangePart, m_calc, BadCode(), 0, 0, BadNumber());
            return;
        case 5:
            CALL(InsertBrokerBaseContractParam, m_calc, BadCode(), BadCode(), BadNumber());
            return;
        case 6:
            m_calls.NextHas(64, m_draw.Whole(-1, 4));
            CALL(SetPosition, m_calc, BadCode(), m_futures.front().code.c_str(), 5, 0.0, m_draw.Whole(-1, 3), 0);
            return;
        case 7:
            m_calls.NextHas(64, m_draw.Whole(-1, 4));
            CALL(ChangeOrder, m_calc, AnyClient().c_str(), BadCode(), 1, BadNumber(), 0);
            return;
        case 8:
            CALL(ChangeOrder, m_calc, BadCode(), m_futures.front().code.c_str(), 1, 1.0, 1);
            return;
        default:
            CALL(InsertCurrency, m_calc, m_draw.Whole(0, 3), BadNumber());
            return;
        }
    }
    void OfferBadInstruments()
    {
        const double rate = m_draw.OnceIn(2) ? BadNumber() : 0.1;
        CALL(InsertBaseContract, m_calc, BadCode(), "GROUP", m_draw.Whole(-1, 4), m_draw.Whole(-1, 2),
             m_draw.Whole(0, 3), BadNumber(), 0.1, 0.1, 0.1, 0.1, rate, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, rate, 0.1, 0.1,
             0.1, m_draw.Whole(-1, 1), m_draw.Whole(-1, 1), m_draw.Whole(-1, 600), m_draw.Grid(-0.5, 0.5, 4),
             m_draw.Whole(-1, 2), BadNumber(), m_draw.Whole(0, 8), BadNumber());
    }
    void OfferBadFutures()
    {
        const std::string code = "BAD-" + std::to_string(m_draw.Whole(1, 999));
        const std::string& contract = m_contracts.front();
        CALL(InsertFutures, m_calc, code.c_str(), m_draw.OnceIn(2) ? contract.c_str() : BadCode(), BadNumber(),
             m_draw.Whole(-1, 3), BadNumber(), 100.0, 0.5, m_draw.Whole(0, 1), m_draw.Grid(-0.01, 0.01, 3), 0.0, 0.25,
             100.0, m_draw.OneOf<int>({0, QUINDAL_ATTRIBUTE_TAS, -1}), 0.0, 0.0, 0, BadCode());
        CALL(InsertOption, m_calc, (code + "-O").c_str(), m_draw.OnceIn(2) ? (code + "-S").c_str() : BadCode(),
             BadNumber(), m_draw.Whole(-1, 3), BadNumber());
        CALL(InsertOptionSeries, m_calc, (code + "-S").c_str(),
             m_draw.OnceIn(2) ? m_futures.back().code.c_str() : code.c_str(), BadNumber(), 0.0, BadNumber(), 0.0,
             BadNumber(), 0, 0.0, 0.0, -1, 0, 1, m_draw.Grid(-1.0, 1.0, 8), 0.0, m_draw.Grid(-0.1, 0.1, 3), 1.0, 0.0,
             -1.0, 0.0, 0.0, 0.0, BadNumber(), m_draw.Whole(-1, 2), m_draw.Whole(-1, 2), m_draw.Whole(-1, 2), 1,
             m_draw.Whole(-1, 3), 1, m_draw.Grid(0.0, 0.5, 2), 1.0, m_draw.Whole(0, 1), 0.0, 0.0, 0.0, -1.0, 0.0, 0.0,
             0.0, 0.0);
    }
    void OfferBadParticipants()
    {
        CALL(RegisterSettlementAccount, m_calc, BadCode(), m_draw.Whole(0, 5), m_draw.Whole(-1, 5), 4, BadNumber());
        CALL(RegisterFirm, m_calc, BadCode(), m_draw.Whole(-2, 3), BadNumber(), BadNumber(), m_draw.Whole(-1, 3),
             BadCode(), m_draw.Whole(-1, 5), m_draw.Whole(-1, 5), m_draw.Whole(-1, 5), BadNumber(), 0);
        CALL(RegisterPart, m_calc, BadCode(), 1, m_draw.Whole(-3, 3), BadNumber(), m_draw.Whole(-1, 5),
             m_draw.Whole(-1, 5), BadNumber(), BadNumber(), m_draw.Whole(-1, 5), 0);
    }

    // ---- What is read back ------------------------------------------------------------------------------------------

    /// next() until the end of the data; buffers are too small now and then, and a pointer is null at times.
    template <class Next>
    void ReadToTheEnd(const Next& next)
    {
        for (int left = 400; left > 0; --left) {
            if (m_draw.OnceIn(15)) m_calls.NextHas(m_draw.Whole(-1, 6), -1);
            if (m_draw.OnceIn(30)) m_calls.NextHas(64, m_draw.Whole(0, 3));
            if (next() == EndOfData) return;
        }
    }
    void ReadBack()
    {
        CALL(SetOnFirstCurrency, m_calc);
        ReadToTheEnd([&] { return CALL(GetNextCurrency, m_calc); });
        CALL(SetOnFirstBaseContract, m_calc);
        ReadToTheEnd([&] { return CALL(GetNextBaseContract, m_calc); });
        CALL(SetOnFirstFutures, m_calc);
        ReadToTheEnd([&] { return CALL(GetNextFutures, m_calc, m_draw.Whole(-1, 5)); });
        CALL(SetOnFirstOptionSeries, m_calc);
        ReadToTheEnd([&] { return CALL(GetNextOptionSeries, m_calc); });
        CALL(SetOnFirstOption, m_calc);
        ReadToTheEnd([&] { return CALL(GetNextOption, m_calc); });
        CALL(SetOnFirstMultileg, m_calc);
        ReadToTheEnd([&] { return CALL(GetNextMultileg, m_calc); });
    }

    void AskForRiskArrays()
    {
        const int type = m_draw.Whole(0, 64);
        const char* const futures = m_futures.front().code.c_str();
        const char* const client = AnyClient().c_str();
        CALL(GetClientVfRisksArray, m_calc, type, futures, client);
        CALL(GetClientDeliveryRisksArray, m_calc, type, futures, client);
        CALL(GetClientFutRisksArray, m_calc, type, futures, client);
        CALL(GetClientMmsRisksArray, m_calc, type, futures, client);
        CALL(GetClientMcsRisksArray, m_calc, type, futures, client);
        CALL(GetBrokerRisksArray, m_calc, type, futures, m_firms.front().c_str());
        CALL(GetClientFinalRisksArray, m_calc, type, futures, client);
        CALL(GetClientFinalRisksArrayWithPositiveValue, m_calc, type, futures, client);
        CALL(GetBrokerFinalRisksArray, m_calc, type, futures, m_firms.front().c_str());
        CALL(GetBrokerFinalRisksArrayWithPositiveValue, m_calc, type, futures, m_firms.front().c_str());
        CALL(GetSettlementAccountFinalRisksArray, m_calc, type, futures, m_accounts.front().c_str());
        CALL(GetSettlementAccountFinalRisksArrayWithPositiveValue, m_calc, type, futures, m_accounts.front().c_str());
        CALL(GetRiskPoints, m_calc, type, futures, m_draw.OnceIn(2), m_draw.Whole(0, 4));
        CALL(GetOptionRisksArray, m_calc, type, futures, m_draw.Whole(0, 4));
    }

    replay::ExportRecorder m_calls;
    std::string m_ini;
    const char* m_user;
    const char* m_password;
    Draw m_draw{20261121};
    std::intptr_t m_calc = 0;

    int m_pointsOfGroup = 0; // contracts of one group have equal grids
    std::vector<std::string> m_contracts;
    std::vector<Futures> m_futures;
    std::vector<Option> m_options;
    std::vector<std::string> m_multilegs;
    std::vector<std::string> m_accounts;
    std::vector<std::string> m_firms;
    std::vector<std::string> m_clients;
    std::vector<Order> m_orders;
};

/// The ini file given, with both logs in the folder.
[[nodiscard]] std::string WithLogs(const char* ini, const std::string& folder)
{
    std::string path = folder + "/margin.ini";
    std::ofstream file(path);
    std::ifstream given(ini);
    for (std::string line; std::getline(given, line) && line != "[QuindalIM::log]";)
        file << line << '\n';
    file << "[QuindalIM::log]\nfile = " << folder << "/library.log\n[QuindalIM::xplog]\nfile = " << folder
         << "/trace.log\n";
    return path;
}

int PlayInto(const std::string& folder, const char* ini, const char* user, const char* password, const char* library)
{
    std::FILE* const out = std::fopen((folder + "/calls.txt").c_str(), "w");
    if (out == nullptr) throw std::runtime_error("cannot write into " + folder);
    Script script(library, out, WithLogs(ini, folder), user, password);
    script.Play();
    std::fclose(out);
    const replay::ExportRecorder& calls = script.Calls();
    std::cout << calls.Calls() << " calls of " << calls.Functions() << " functions, " << calls.Figures()
              << " figures and texts\n";
    return calls.Calls() == CallsOfScript && calls.Functions() == ExportedFunctions ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 6) {
        std::cerr << "usage: call_script INI USER PASSWORD LIBRARY FOLDER\n";
        return 2;
    }
    try {
        return PlayInto(argv[5], argv[1], argv[2], argv[3], argv[4]);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
