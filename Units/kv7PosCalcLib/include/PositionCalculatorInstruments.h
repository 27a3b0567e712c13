// The instruments as position accounting sees them: steps, settlement prices, lot sizes, and nothing of risk. One
// dictionary serves the position calculators of all participants; it is filled beside the risk repository.
//
// Two sets of names. A clearing instrument (SInstrCLR, by isin) is what a position is in: a futures or an option. A
// trading instrument (SInstrTRD, by its own id) is what a deal is in: a clearing instrument or a multileg, in one trade
// mode; it names the clearing instruments that a deal moves, its legs.
//
// Always true:  a futures stands with its base contract, a series with its futures, an option with its series, a
//               leg with its multileg; an insert that fails changes nothing; instruments stay at their addresses
//               until Clear, so positions may point at them. A repeated insert is refused: the guard against loading
//               twice.
// Numbers:      prices are t_bprice_int; steps and step prices are doubles in price and money; times are years.
// Errors:       CZ9Error with the Z9ERR_POSITION_CALCULATOR_... codes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "CodeMap.h"
#include "Enums.h"
#include "currencytype.h"
#include "z9bcd.h"

namespace pos {

class IPositioningExternalStorage;
struct SMutableInstrumentsParameters;

struct SBaseContract
{
    std::int32_t isin = 0;           // id of the base contract
    bool is_curr = false;            // variation margin is kept per currency
    std::int32_t indicatorIndex = 0; // currency of that variation margin
};

/// A clearing instrument of any kind.
struct SInstrCLR
{
    SInstrCLR(Isin isin_, std::string code_, Enums::InstrumentType type,
              const SMutableInstrumentsParameters& parameters);
    virtual ~SInstrCLR() = default;

    /// Settlement price.
    [[nodiscard]] virtual t_bprice_int getRealPrice() const noexcept = 0;
    [[nodiscard]] virtual Enums::MarginStyle GetMarginStyle() const noexcept = 0;
    [[nodiscard]] virtual double GetMinStep() const noexcept = 0;
    /// Money of one price step.
    [[nodiscard]] virtual double GetMinStepPrice() const noexcept = 0;

    Isin isin;
    std::string code;
    Enums::InstrumentType instrType;
    const SMutableInstrumentsParameters* cur_instr_params; // the block that holds the instrument

protected:
    SInstrCLR(const SInstrCLR&) = default;
    SInstrCLR& operator=(const SInstrCLR&) = default;
};

struct SFutures final : SInstrCLR
{
    SFutures(Isin isin_, std::string code_, const SMutableInstrumentsParameters& parameters);

    [[nodiscard]] t_bprice_int getRealPrice() const noexcept override { return settlPriceReal; }
    [[nodiscard]] Enums::MarginStyle GetMarginStyle() const noexcept override { return Enums::MarginStyle::Futures; }
    [[nodiscard]] double GetMinStep() const noexcept override { return minStep; }
    [[nodiscard]] double GetMinStepPrice() const noexcept override { return minStepPrice; }

    t_bprice_int settlPriceReal;
    std::int32_t baseContractID = 0;
    double minStep = 0;
    double minStepPrice = 0;
    double timeToExpiration = 0;
    Enums::InstrumentStatus attribute = Enums::InstrumentStatus::None;
    double xlot = 0;                   // units of the underlying in a contract
    const SBaseContract* bc = nullptr; // never null once inserted
};

/// An option series: what its options share.
struct SVirtFutures
{
    std::string codeFutures;
    Isin isinFutures = 0;
    Enums::MarginStyle marginStyle = Enums::MarginStyle::Futures;
    double minStep = 0;
    double minStepPrice = 0;       // money of one price step
    const SFutures* fut = nullptr; // never null once inserted
};

struct SOption final : SInstrCLR
{
    SOption(Isin isin_, std::string code_, const SMutableInstrumentsParameters& parameters);

    [[nodiscard]] t_bprice_int getRealPrice() const noexcept override { return calcOptPrice; }
    [[nodiscard]] Enums::MarginStyle GetMarginStyle() const noexcept override { return virtFutures->marginStyle; }
    [[nodiscard]] double GetMinStep() const noexcept override { return virtFutures->minStep; }
    [[nodiscard]] double GetMinStepPrice() const noexcept override { return virtFutures->minStepPrice; }

    std::string codeVF; // of its series
    Enums::OptionType optType = Enums::OptionType::Undefined;
    t_bprice_int calcOptPrice;
    const SVirtFutures* virtFutures = nullptr; // never null once inserted
};

/// True for an option whose premium is paid up front, so that it has no variation margin.
[[nodiscard]] inline bool IsPremiumStyle(const SInstrCLR& instrument) noexcept
{
    return instrument.instrType == Enums::InstrumentType::Option &&
           instrument.GetMarginStyle() == Enums::MarginStyle::Equity;
}

/// One leg: a clearing instrument and its contracts in one contract of the whole.
struct SInstrQuantity
{
    const SInstrCLR* instrCLR = nullptr; // never null
    std::int32_t quantityCoeff = 0;      // negative for the leg on the other side
};

/// A spread of up to two legs, the lower order number first.
struct SMultileg
{
    Isin isin = 0;
    unsigned char lastInsertedLegNum = 0; // order number of the leg that came last
    std::vector<SInstrQuantity> instruments;
};

struct STradeMode
{
    Enums::TradeModeStatus status = Enums::TradeModeStatus::Closed;
    Enums::PriceType price_type = Enums::PriceType::Price;
    Enums::AuctionType auct_type = Enums::AuctionType::None;
    bool shouldCollectFeeForInternalTrades = false; // deals within one participant pay too
    bool shouldTakeIntoAccountPrice1 = false;       // an order in a pair names the price of its first part
    bool shouldReplicatePrice1 = false;             // that price goes on to the deal's report
};

/// A trading instrument.
struct SInstrTRD
{
    Isin isin_clr = 0;
    char code_clr[256] = {}; // ends with a zero
    std::int32_t tradeModeID = 0;
    double minStepTraded = 0;
    double minStepPriceTraded = 0;                                   // money
    Enums::TradingInstrType type = Enums::TradingInstrType::Futures; // -1 where isin_clr is no instrument
    const STradeMode* tradeMode = nullptr;                           // null where there is no such mode
    std::vector<SInstrQuantity> instruments; // its legs: one of a futures or an option, those of a multileg, or none
};

/// Fee of a trading instrument.
struct SInstrTRD2
{
    Isin isin_clr = 0;
    double fixedFeeRate = 0; // money a contract, never negative
};

using CInstrTypeList = std::unordered_map<Isin, Enums::InstrumentType>;

/// Instruments and modes that do not change within a session.
struct SConstInstrumentsParameters
{
    std::unordered_map<std::int32_t, SBaseContract> m_baseContracts; // by id
    std::unordered_map<std::int32_t, STradeMode> m_tradeModes;       // by id
    std::unordered_map<Isin, SMultileg> m_multilegs;
    std::unordered_map<std::int32_t, SInstrTRD> m_instruments; // trading instruments by id

    void clear() noexcept;
    /// The multileg of an isin; null when there is none.
    [[nodiscard]] const SMultileg* getMultileg(Isin isin) const noexcept;
};

/// Instruments with prices.
struct SMutableInstrumentsParameters
{
    std::unordered_map<Isin, SFutures> m_futures;
    kv7base::CodeMap<SVirtFutures> m_virtFutures; // by code
    std::unordered_map<Isin, SOption> m_options;
    std::unordered_map<std::int32_t, SInstrTRD2> m_tradeinstruments; // rates by the id of the trading instrument

    void clear() noexcept;
    /// The futures of an isin; null when there is none.
    [[nodiscard]] const SFutures* getFutures(Isin isin) const noexcept;
    [[nodiscard]] SFutures* getFutures(Isin isin) noexcept;
    [[nodiscard]] const SOption* getOption(Isin isin) const noexcept;
    [[nodiscard]] SOption* getOption(Isin isin) noexcept;
};

class IPositionCalculatorInstruments
{
public:
    virtual ~IPositionCalculatorInstruments() = default;

    [[nodiscard]] virtual const SConstInstrumentsParameters& GetConstInstruments() const noexcept = 0;
    [[nodiscard]] virtual const SMutableInstrumentsParameters& GetCurrentInstrument() const noexcept = 0;
    [[nodiscard]] virtual const CInstrTypeList& GetInstrTypes() const noexcept = 0;
    /// Stores time and settlement price of a futures. Unknown isin: Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND.
    virtual void UpdateFutures(Isin isin, double timeToExpiration, const t_bprice& price) = 0;
    /// Stores the money of one price step of a series. Unknown code: Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_NOT_FOUND.
    virtual void UpdateVirtFutures(std::string_view code, double minStepPrice) = 0;
    /// Stores the settlement price of an option. Unknown isin: Z9ERR_POSITION_CALCULATOR_OPTION_NOT_FOUND.
    virtual void UpdateOption(Isin isin, const t_bprice& price) = 0;

protected:
    IPositionCalculatorInstruments() = default;
    IPositionCalculatorInstruments(const IPositionCalculatorInstruments&) = default;
    IPositionCalculatorInstruments& operator=(const IPositionCalculatorInstruments&) = default;
};

class PositionCalculatorInstruments final : public IPositionCalculatorInstruments
{
public:
    PositionCalculatorInstruments() = default;
    // Not copied: instruments point at one another and at the block that holds them.
    PositionCalculatorInstruments(const PositionCalculatorInstruments&) = delete;
    PositionCalculatorInstruments& operator=(const PositionCalculatorInstruments&) = delete;

    /// Adds a base contract. A repeated id: Z9ERR_POSITION_CALCULATOR_BASECONTRACT_ALREADY_EXISTS.
    void InsertBaseContract(std::int32_t id, bool is_curr, std::int32_t indicatorIndex);

    /// Adds a futures. A repeated isin, or that of a multileg: Z9ERR_POSITION_CALCULATOR_FUTURES_ALREADY_EXISTS, tested
    /// before the base contract; an unknown base contract: Z9ERR_POSITION_CALCULATOR_BASECONTRACT_NOT_FOUND; a price
    /// that is no number: code 2.
    void InsertFutures(const std::string& code, Isin isin, std::int32_t baseContractID, double minStep,
                       double minStepPrice, const t_bprice& price, double timeToExpiration,
                       Enums::InstrumentStatus attribute, double xlot);

    /// Adds an option series. A repeated code: Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_ALREADY_EXISTS, tested before the
    /// futures; an unknown futures: Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND.
    void InsertVirtFutures(const std::string& code, const std::string& futuresCode, Enums::MarginStyle marginStyle,
                           double minStep, double minStepPrice);
    /// Adds an option. A repeated isin, or that of a multileg: Z9ERR_POSITION_CALCULATOR_OPTION_ALREADY_EXISTS, tested
    /// before the series; an unknown series: Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_NOT_FOUND; a price that is no
    /// number: code 2.
    void InsertOption(const std::string& code, const std::string& seriesCode, Isin isin, Enums::OptionType optType,
                      const t_bprice& price);

    /// Takes back the base contract that was entered last, when the risk repository had no memory for it. It has no
    /// children yet, so none are looked for.
    void RemoveBaseContract(std::int32_t id) noexcept;
    /// Takes back the futures that was entered last, when the risk repository had no memory for it. It has no children
    /// yet.
    void RemoveFutures(Isin isin) noexcept;
    /// Takes back the series that was entered last, when the risk repository had no memory for it. It has no options
    /// yet.
    void RemoveVirtFutures(std::string_view code) noexcept;
    /// Takes back the option that was entered last, when the risk repository had no memory for it.
    void RemoveOption(Isin isin) noexcept;
    /// Empties everything.
    void Clear() noexcept;

    [[nodiscard]] const SConstInstrumentsParameters& GetConstInstruments() const noexcept override
    {
        return m_const_instruments;
    }
    [[nodiscard]] const SMutableInstrumentsParameters& GetCurrentInstrument() const noexcept override
    {
        return p_default_instruments;
    }
    [[nodiscard]] const CInstrTypeList& GetInstrTypes() const noexcept override { return m_instr_types; }

    // Replica: what deals are made in, and what accounting asks of an instrument.

    /// Replaces all instruments by those of the storage. Throws what an insert throws, and everything stays as it was
    /// then. As with Clear, nothing may point at the old instruments.
    void Init(const IPositioningExternalStorage& storage);

    /// Adds a trade mode. A repeated id: Z9ERR_POSITION_CALCULATOR_TRADEMODE_ALREADY_EXISTS.
    void InsertTradeMode(std::int32_t id, Enums::TradeModeStatus status, Enums::PriceType priceType,
                         Enums::AuctionType auctionType, bool shouldCollectFeeForInternalTrades,
                         bool shouldTakeIntoAccountPrice1, bool shouldReplicatePrice1);
    /// Adds a leg to a multileg; the first leg makes the multileg. Errors in the order of the tests, with codes
    /// Z9ERR_POSITION_CALCULATOR_...: a third leg: NUMBEROFLEGS_MORE_THAN_TWO_IN_MULTILEG; the order number of the
    /// other leg: LEGORDERNUM_ALREADY_EXISTS_IN_MULTILEG; the other leg's isin: ISIN_ALREADY_EXISTS_IN_MULTILEG; the
    /// multileg's isin being that of a futures or an option: FUTURES_ALREADY_EXISTS or OPTION_ALREADY_EXISTS; a leg
    /// that is neither futures nor option: INSTR_NOT_FOUND. Trading instruments on the first leg get the second one
    /// too, where its money is that of the first, as InsertInstrument asks.
    void InsertMultileg(Isin isin, Isin legIsin, std::int32_t quantityCoeff, unsigned char legOrderNum);
    /// Adds a trading instrument on a clearing instrument or a multileg, with its legs. Neither the clearing instrument
    /// nor the trade mode need be known: a deal in an instrument without legs moves nothing. A repeated id:
    /// Z9ERR_POSITION_CALCULATOR_INSTRUMENT_ALREADY_EXISTS; legs whose price units are not worth equal money
    /// (GetLotMoneyCoeff by the code given, compared to 1e-10 of the larger):
    /// Z9ERR_POSITION_CALCULATOR_DIFFERENT_FUTURES_MONEYCOEFF_IN_MULTILEG; a code of more than 255 characters: code 2.
    void InsertInstrument(std::int32_t id, Isin isin, std::int32_t tradeModeID, double minStepTraded,
                          double minStepPriceTraded, const std::string& code);
    /// Adds the fee rate of a trading instrument, money a contract. A rate that is negative or no number is 0.0, with a
    /// warning. A second rate: Z9ERR_POSITION_CALCULATOR_INSTRUMENT_ALREADY_EXISTS; an unknown id:
    /// Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND.
    void InsertInstrumentsRate(std::int32_t id, double rate);
    /// Replaces the rate of an instrument that has one; of any other: Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND.
    void UpdateInstrumentsRate(std::int32_t id, double rate);

    void UpdateFutures(Isin isin, double timeToExpiration, const t_bprice& price) override;
    void UpdateVirtFutures(std::string_view code, double minStepPrice) override;
    void UpdateOption(Isin isin, const t_bprice& price) override;

    /// The futures or option of an isin. Unknown isin: Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, "Isin: %d".
    [[nodiscard]] const SInstrCLR& getInstrumentCLR(Isin isin) const;
    [[nodiscard]] const SBaseContract& getClearingInstrumentBaseContract(Isin isin) const;
    /// The futures itself, or the futures of an option's series. Unknown isin:
    /// Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND.
    [[nodiscard]] const SFutures& UnderlyingFutures(Isin isin) const;
    /// Kind of a clearing instrument; Undefined when the isin is unknown.
    [[nodiscard]] Enums::InstrumentType getClearingInstrumentType(Isin isin) const noexcept;
    /// The futures of an isin; null when there is none.
    [[nodiscard]] const SFutures* GetInstrFutures(Isin isin) const noexcept;
    [[nodiscard]] const SOption* GetInstrOption(Isin isin) const noexcept;
    /// Call or put; Undefined for anything but an option.
    [[nodiscard]] Enums::OptionType getOptType(Isin isin) const noexcept;
    /// Attributes of a futures. Unknown isin: Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND, "Isin: %d".
    [[nodiscard]] Enums::InstrumentStatus GetFuturesAttribute(Isin isin) const;

    /// Money of one unit of price, c = step price / step of the futures (for an option, of the futures of its series):
    /// for the code "c" as it is, for any other per unit of the underlying, c / xlot. An xlot below 1e-10:
    /// Z9ERR_POSITION_CALCULATOR_DIVIDE_BY_ZERO; an unknown isin: Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND.
    [[nodiscard]] double GetLotMoneyCoeff(Isin isin, std::string_view code) const;

    /// The trading instrument of an id. Unknown id, here and wherever a trading id is taken:
    /// Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, "InstrumentID: %d".
    [[nodiscard]] const SInstrTRD& getInstrumentTRD(std::int32_t id) const;
    [[nodiscard]] Isin getClearingIsinByTrading(std::int32_t id) const;
    /// True when an order in the instrument names the price of its first part. No such trade mode:
    /// Z9ERR_POSITION_CALCULATOR_TRADEMODEID_NOT_FOUND, "TradeModeID: %d".
    [[nodiscard]] bool getInstrShouldTakeIntoAccountPrice1(std::int32_t id) const;
    /// Fee rate of a trading instrument; null when none was inserted.
    [[nodiscard]] const SInstrTRD2* GetInstrumentsRate(std::int32_t id) const noexcept;

    // Prices of a pair, with five decimals. An instrument that does not have two legs:
    // Z9ERR_POSITION_CALCULATOR_PAIR_INSTRUMENTID_EXPECTED, "InstrumentID: %d"; no such trade mode:
    // Z9ERR_POSITION_CALCULATOR_TRADEMODEID_NOT_FOUND.

    /// Price of the first part of an order: price1 where the trade mode lets orders name it, otherwise the settlement
    /// price of the first leg.
    [[nodiscard]] t_bprice_int getFirstPartPrice(std::int32_t id, t_bprice_int price1) const;
    /// Quotation of the pair that gives its parts these prices:
    /// b
    /// secondPartPrice -
    /// a
    /// firstPartPrice, the inverse of CalcSecondPartPrice. Out of 64 bits: Z9ERR_COMMON_OVERFLOW.
    [[nodiscard]] t_bprice_int getSwapPrice(std::int32_t id, t_bprice_int firstPartPrice,
                                            t_bprice_int secondPartPrice) const;

private:
    /// The futures or option of an isin; null when it is neither.
    [[nodiscard]] const SInstrCLR* FindInstrumentCLR(Isin isin) const noexcept;
    /// Tests a second leg.
    static void CheckNewLeg(const SMultileg& multileg, Isin isin, Isin legIsin, unsigned char legOrderNum);
    /// Refuses a multileg under the isin of a futures or an option, with the code for a repeated one of these.
    void RefuseClearingIsin(Isin isin) const;
    /// Enters the second leg, here and in the trading instruments that exist on the multileg already.
    void CompleteMultileg(SMultileg& multileg, const SInstrQuantity& leg, unsigned char legOrderNum);
    [[nodiscard]] const SInstrCLR& LegInstrument(Isin isin, Isin legIsin) const;
    /// Legs that a deal in this isin moves; none for an unknown isin.
    [[nodiscard]] std::vector<SInstrQuantity> LegsOf(Isin isin) const;
    void CheckMoneyCoeffs(Isin isin, const std::vector<SInstrQuantity>& legs, std::string_view code) const;
    [[nodiscard]] static const STradeMode& TradeModeOf(const SInstrTRD& instrument);
    /// The trading instrument of an id, which must have two legs.
    [[nodiscard]] const SInstrTRD& PairOf(std::int32_t id) const;
    void LoadFrom(const IPositioningExternalStorage& storage);

    SConstInstrumentsParameters m_const_instruments;
    SMutableInstrumentsParameters p_default_instruments;
    CInstrTypeList m_instr_types;
    kv7base::CodeMap<const SFutures*> m_futuresByCode; // for the series
};

} // namespace pos
