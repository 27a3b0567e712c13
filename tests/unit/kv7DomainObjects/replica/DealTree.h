// DealTree: the account tree over a market with options, whose instruments can be traded. A firm with two clients,
// below an account of its own or below the one for firms without.
//
// Settlement prices are those of HandMarket.h: 800 of every futures, and one unit of price is one unit of money. One
// contract at a price p has the results 700 - p, 800 - p and 900 - p when bought.
#pragma once

#include <array>
#include <cstdint>

#include "MoneyChecks.h"
#include "OptionTree.h"
#include "replica/AssumedVectors.h"
#include "replica/DealRoad.h"
#include "replica/MoneyOrchestrator.h"
#include "replica/SyntheticDealPrices.h"

inline constexpr Isin CurrencyFutures = 3; // of a base contract that keeps VM in Dollar
inline constexpr Isin Spread = 50;         // sells FUT and buys SpreadFutures, one each
inline constexpr Isin Nothing = 60;        // is no instrument
inline constexpr std::int32_t Dollar = 7;  // radius 0.1

// Trading instruments; all are traded in the mode 1.
inline constexpr std::int32_t TradeFutures = 101; // costs 0.125 a contract
inline constexpr std::int32_t TradeCall = 102;    // costs nothing, as the others
inline constexpr std::int32_t TradePremiumPut = 103;
inline constexpr std::int32_t TradeSpread = 104;
inline constexpr std::int32_t TradeCurrency = 105;
inline constexpr std::int32_t TradeNothing = 106;
inline constexpr std::int32_t TradeBaseless = 107; // on a futures that the risk books do not know

struct DealTree : OptionTree
{
    /// A null account stands for a new one under accountRule.
    DealTree(Enums::MarginRule firmRule, Enums::MarginRule accountRule,
             const BraskSettlementAccountPtr& given = nullptr)
        : account(given == nullptr ? AddAccount("ID1", accountRule) : given),
          firm(AddFirm("AA01", firmRule, account)),
          first(AddClient(firm, "AA01001")),
          second(AddClient(firm, "AA01002"))
    {
        Check(instruments.InsertCurrency(Dollar, 0.1));
        Check(HandBaseContract("FX").InsertInto(instruments));
        Check(HandFutures("FXF", CurrencyFutures, "FX").InsertInto(instruments));

        pos::PositionCalculatorInstruments& p = positionInstruments;
        p.InsertBaseContract(2, true, Dollar);
        AddAccountingFutures("FUT2", SpreadFutures, 1);
        AddAccountingFutures("FXF", CurrencyFutures, 2);
        AddAccountingFutures("FUT9", UnknownIsin, 1);
        p.InsertVirtFutures("NET", "FUT2", Enums::MarginStyle::Futures, 1.0, 1.0);
        p.InsertOption("NET-12", "NET", Call850, Enums::OptionType::Call, t_bprice(12.0));
        p.InsertVirtFutures("EQ", "FUT2", Enums::MarginStyle::Equity, 1.0, 1.0);
        p.InsertOption("EQ-13", "EQ", PremiumPut850, Enums::OptionType::Put, t_bprice(60.0));
        p.InsertMultileg(Spread, FUT, -1, 1);
        p.InsertMultileg(Spread, SpreadFutures, 1, 2);
        AddTradingInstrument(TradeFutures, FUT, 0.125);
        AddTradingInstrument(TradeCall, Call850);
        AddTradingInstrument(TradePremiumPut, PremiumPut850);
        AddTradingInstrument(TradeSpread, Spread);
        AddTradingInstrument(TradeCurrency, CurrencyFutures);
        AddTradingInstrument(TradeNothing, Nothing);
        AddTradingInstrument(TradeBaseless, UnknownIsin);
    }

    void AddAccountingFutures(const std::string& code, Isin isin, std::int32_t baseContract)
    {
        positionInstruments.InsertFutures(code, isin, baseContract, 1.0, 1.0, t_bprice(800.0), 0.5,
                                          Enums::InstrumentStatus::None, 100.0);
    }
    void AddTradingInstrument(std::int32_t id, Isin isin, double feeRate = 0.0)
    {
        positionInstruments.InsertInstrument(id, isin, 1, 1.0, 1.0, "c");
        positionInstruments.InsertInstrumentsRate(id, feeRate);
    }

    /// Books a trade of a client, negative when sold.
    [[nodiscard]] Z9ERR Trade(BraskClient& client, std::int32_t instrument, double price, std::int64_t quantity)
    {
        return money_orchestrator::ProcessTrade(client, instrument, t_bprice_int(price), quantity, noSyntheticPrices,
                                                vectors, tradedIsin, tradedInstrument);
    }

    /// The levels that a trade of the first client moves.
    [[nodiscard]] std::array<const ParticipantBase*, 3> FirstAndAbove() const { return {&first, &firm, account.get()}; }

    BraskSettlementAccountPtr account;
    BraskBroker& firm;
    BraskClient& first;
    BraskClient& second;
    const pos::SyntheticDealPrices noSyntheticPrices;
    AssumedVectors vectors; // of the last trade
    Isin tradedIsin = 0;
    const pos::SInstrTRD* tradedInstrument = nullptr;
};
