// The instruments as position accounting sees them: steps, settlement prices, lot sizes, and nothing of risk. One
// dictionary serves the position calculators of all participants; it is filled beside the risk repository.
//
// Always true:  a futures stands with its base contract, a series with its futures, an option with its series; an
//               insert that fails changes nothing; instruments stay at their addresses until Clear, so positions
//               may point at them. A repeated insert is refused: the guard against loading an instrument twice.
// Numbers:      prices are t_bprice_int; steps and step prices are doubles in price and money; times are years.
// Errors:       CZ9Error with the Z9ERR_POSITION_CALCULATOR_... codes.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Enums.h"
#include "currencytype.h"
#include "z9bcd.h"

namespace pos {

struct SMutableInstrumentsParameters;

struct SBaseContract
{
    std::int32_t isin = 0;           // its id
    bool is_curr = false;            // variation margin is kept per currency
    std::int32_t indicatorIndex = 0; // that currency
};

/// A clearing instrument, whatever its kind.
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
    const SMutableInstrumentsParameters* cur_instr_params; // the block that it stands in

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

/// Codes are looked up by any text, without building a string.
struct CodeHash
{
    using is_transparent = void;

    [[nodiscard]] std::size_t operator()(std::string_view code) const noexcept
    {
        return std::hash<std::string_view>{}(code);
    }
};

using CInstrTypeList = std::unordered_map<Isin, Enums::InstrumentType>;

/// What does not change within a session.
struct SConstInstrumentsParameters
{
    std::unordered_map<std::int32_t, SBaseContract> m_baseContracts; // by id

    void clear() noexcept { m_baseContracts.clear(); }
};

/// What carries prices.
struct SMutableInstrumentsParameters
{
    std::unordered_map<Isin, SFutures> m_futures;
    std::unordered_map<std::string, SVirtFutures, CodeHash, std::equal_to<>> m_virtFutures; // by code
    std::unordered_map<Isin, SOption> m_options;

    void clear() noexcept;
    /// Null when there is none.
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
    /// Stores time and settlement price. Unknown: Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND.
    virtual void UpdateFutures(Isin isin, double timeToExpiration, const t_bprice& price) = 0;

protected:
    IPositionCalculatorInstruments() = default;
    IPositionCalculatorInstruments(const IPositionCalculatorInstruments&) = default;
    IPositionCalculatorInstruments& operator=(const IPositionCalculatorInstruments&) = default;
};

class PositionCalculatorInstruments final : public IPositionCalculatorInstruments
{
public:
    PositionCalculatorInstruments() = default;
    // Instruments point at one another and at the block that they stand in.
    PositionCalculatorInstruments(const PositionCalculatorInstruments&) = delete;
    PositionCalculatorInstruments& operator=(const PositionCalculatorInstruments&) = delete;

    /// A repeated id: Z9ERR_POSITION_CALCULATOR_BASECONTRACT_ALREADY_EXISTS.
    void InsertBaseContract(std::int32_t id, bool is_curr, std::int32_t indicatorIndex);

    /// A repeated isin: Z9ERR_POSITION_CALCULATOR_FUTURES_ALREADY_EXISTS, tested before the base contract; an unknown
    /// base contract: Z9ERR_POSITION_CALCULATOR_BASECONTRACT_NOT_FOUND; a price that is no number: code 2.
    void InsertFutures(const std::string& code, Isin isin, std::int32_t baseContractID, double minStep,
                       double minStepPrice, const t_bprice& price, double timeToExpiration,
                       Enums::InstrumentStatus attribute, double xlot);

    /// A repeated code: Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_ALREADY_EXISTS, tested before the futures; an unknown
    /// futures: Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND.
    void InsertVirtFutures(const std::string& code, const std::string& futuresCode, Enums::MarginStyle marginStyle,
                           double minStep, double minStepPrice);
    /// A repeated isin: Z9ERR_POSITION_CALCULATOR_OPTION_ALREADY_EXISTS, tested before the series; an unknown series:
    /// Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_NOT_FOUND; a price that is no number: code 2.
    void InsertOption(const std::string& code, const std::string& seriesCode, Isin isin, Enums::OptionType optType,
                      const t_bprice& price);

    void UpdateFutures(Isin isin, double timeToExpiration, const t_bprice& price) override;

    /// Take back an instrument that was entered last and that the risk repository had no memory for. Its children are
    /// not looked for: it has none yet.
    void RemoveBaseContract(std::int32_t id) noexcept;
    void RemoveFutures(Isin isin) noexcept;
    void RemoveVirtFutures(std::string_view code) noexcept;
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

    /// Unknown: Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, "Isin: %d".
    [[nodiscard]] const SInstrCLR& getInstrumentCLR(Isin isin) const;
    [[nodiscard]] const SBaseContract& getClearingInstrumentBaseContract(Isin isin) const;
    /// Undefined when unknown.
    [[nodiscard]] Enums::InstrumentType getClearingInstrumentType(Isin isin) const noexcept;
    /// Null when unknown.
    [[nodiscard]] const SFutures* GetInstrFutures(Isin isin) const noexcept;
    [[nodiscard]] const SOption* GetInstrOption(Isin isin) const noexcept;
    /// Undefined for anything but an option.
    [[nodiscard]] Enums::OptionType getOptType(Isin isin) const noexcept;
    /// Unknown: Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND, "Isin: %d".
    [[nodiscard]] Enums::InstrumentStatus GetFuturesAttribute(Isin isin) const;

    /// Money of one unit of price, c = step price / step of the futures (for an option, of the futures of its series):
    /// for the code "c" as it is, for any other per unit of the underlying, c / xlot. An xlot below 1e-10:
    /// Z9ERR_POSITION_CALCULATOR_DIVIDE_BY_ZERO; an unknown isin: Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND.
    [[nodiscard]] double GetLotMoneyCoeff(Isin isin, std::string_view code) const;

private:
    /// The futures itself, or that of an option's series. Unknown: Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND.
    [[nodiscard]] const SFutures& UnderlyingFutures(Isin isin) const;

    SConstInstrumentsParameters m_const_instruments;
    SMutableInstrumentsParameters p_default_instruments;
    CInstrTypeList m_instr_types;
    std::unordered_map<std::string, const SFutures*, CodeHash, std::equal_to<>> m_futuresByCode; // series name them so
};

} // namespace pos
