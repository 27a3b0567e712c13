// Trading instruments: trade modes, spreads and their legs, rates, and the prices of a pair.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "Lookup.h"
#include "PositionCalculatorInstruments.h"
#include "replica/CheckedSums.h"
#include "z9log.h"

namespace pos {

using kv7base::CZ9Error;

namespace {

constexpr std::size_t MostLegs = 2;

/// Equal except for the last digits of a division.
bool SameMoney(double a, double b) noexcept
{
    constexpr double tolerance = 1e-10; // of the larger
    return std::abs(a - b) <= tolerance * std::max(std::abs(a), std::abs(b));
}

/// The rate, or 0.0 for a rate that is negative or no number.
double CheckedRate(double rate)
{
    constexpr double defaultRate = 0.0;
    if (rate >= 0) return rate;
    KV7TRACE_WARNING_EX("QuindalIM",
                        "InsertInstrumentRate: fixedFeeRate has invalid value (%f). Default value is used (%f).", rate,
                        defaultRate);
    return defaultRate;
}

[[noreturn]] void RefuseInstrumentID(Z9ERR code, std::int32_t id)
{
    throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("InstrumentID: %d", id);
}

void CopyCode(SInstrTRD& instrument, std::int32_t id, const std::string& code)
{
    // Leaves room for the terminating zero. A code that is cut would name another instrument.
    if (code.size() >= sizeof(instrument.code_clr) || code.find('\0') != std::string::npos)
        throw CZ9Error(Z9ERR_COMMON_WRONG_ARGUMENTS, KV7_CURRENT_LOCATION)
            .Fmt("InstrumentID: %d, code of %d characters (%s)", id, static_cast<int>(code.size()), code.c_str());
    std::memcpy(instrument.code_clr, code.data(), code.size());
}

} // namespace

void PositionCalculatorInstruments::InsertTradeMode(std::int32_t id, Enums::TradeModeStatus status,
                                                    Enums::PriceType priceType, Enums::AuctionType auctionType,
                                                    bool shouldCollectFeeForInternalTrades,
                                                    bool shouldTakeIntoAccountPrice1, bool shouldReplicatePrice1)
{
    const STradeMode mode{.status = status,
                          .price_type = priceType,
                          .auct_type = auctionType,
                          .shouldCollectFeeForInternalTrades = shouldCollectFeeForInternalTrades,
                          .shouldTakeIntoAccountPrice1 = shouldTakeIntoAccountPrice1,
                          .shouldReplicatePrice1 = shouldReplicatePrice1};
    if (!m_const_instruments.m_tradeModes.try_emplace(id, mode).second)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_TRADEMODE_ALREADY_EXISTS, KV7_CURRENT_LOCATION)
            .Fmt("TradeModeID: %d", id);
}

void PositionCalculatorInstruments::CheckNewLeg(const SMultileg& multileg, Isin isin, Isin legIsin,
                                                unsigned char legOrderNum)
{
    const auto& legs = multileg.instruments;
    if (legs.size() >= MostLegs)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_NUMBEROFLEGS_MORE_THAN_TWO_IN_MULTILEG, KV7_CURRENT_LOCATION)
            .Fmt("Multileg (Isin %d)", isin);
    if (legOrderNum == multileg.lastInsertedLegNum)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_LEGORDERNUM_ALREADY_EXISTS_IN_MULTILEG, KV7_CURRENT_LOCATION)
            .Fmt("Multileg (Isin %d), LegOrderNum: %u", isin, static_cast<unsigned>(legOrderNum));
    if (legs.front().instrCLR->isin == legIsin)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_ISIN_ALREADY_EXISTS_IN_MULTILEG, KV7_CURRENT_LOCATION)
            .Fmt("LegIsinId: %d", legIsin);
}

// Refuses a multileg under a clearing instrument's isin: accounting would take the positions in one for those in the
// other.
void PositionCalculatorInstruments::RefuseClearingIsin(Isin isin) const
{
    if (FindInstrumentCLR(isin) == nullptr) return;
    const bool isOption = GetInstrOption(isin) != nullptr;
    throw CZ9Error(isOption ? Z9ERR_POSITION_CALCULATOR_OPTION_ALREADY_EXISTS
                            : Z9ERR_POSITION_CALCULATOR_FUTURES_ALREADY_EXISTS,
                   KV7_CURRENT_LOCATION)
        .Fmt("Multileg (Isin %d)", isin);
}

const SInstrCLR& PositionCalculatorInstruments::LegInstrument(Isin isin, Isin legIsin) const
{
    if (const SInstrCLR* const leg = FindInstrumentCLR(legIsin)) return *leg;
    throw CZ9Error(Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, KV7_CURRENT_LOCATION)
        .Fmt("Inserting Multileg(Isin %d) failed. Leg(Isin %d) not found", isin, legIsin);
}

// Completes a multileg. A trading instrument that came between the two legs must not go on moving the first one alone.
void PositionCalculatorInstruments::CompleteMultileg(SMultileg& multileg, const SInstrQuantity& leg,
                                                     unsigned char legOrderNum)
{
    std::vector<SInstrQuantity> legs = multileg.instruments;
    legs.insert(legOrderNum < multileg.lastInsertedLegNum ? legs.begin() : legs.end(), leg);
    std::vector<SInstrTRD*> traded;
    for (auto& entry : m_const_instruments.m_instruments)
        if (entry.second.isin_clr == multileg.isin && !entry.second.instruments.empty())
            traded.push_back(&entry.second);
    for (SInstrTRD* const instrument : traded) {
        CheckMoneyCoeffs(multileg.isin, legs, instrument->code_clr);
        instrument->instruments.reserve(legs.size());
    }
    for (SInstrTRD* const instrument : traded)
        instrument->instruments.assign(legs.begin(), legs.end());
    multileg.instruments = std::move(legs);
    multileg.lastInsertedLegNum = legOrderNum;
}

void PositionCalculatorInstruments::InsertMultileg(Isin isin, Isin legIsin, std::int32_t quantityCoeff,
                                                   unsigned char legOrderNum)
{
    auto& multilegs = m_const_instruments.m_multilegs;
    SMultileg* const multileg = Find(multilegs, isin);
    if (multileg != nullptr)
        CheckNewLeg(*multileg, isin, legIsin, legOrderNum);
    else
        RefuseClearingIsin(isin);
    const SInstrQuantity leg{.instrCLR = &LegInstrument(isin, legIsin), .quantityCoeff = quantityCoeff};

    if (multileg != nullptr) return CompleteMultileg(*multileg, leg, legOrderNum);
    multilegs.try_emplace(isin, SMultileg{.isin = isin, .lastInsertedLegNum = legOrderNum, .instruments = {leg}});
    try {
        m_instr_types.insert_or_assign(isin, Enums::InstrumentType::MultiLeg);
    } catch (...) {
        multilegs.erase(isin);
        throw;
    }
}

std::vector<SInstrQuantity> PositionCalculatorInstruments::LegsOf(Isin isin) const
{
    if (const SMultileg* const multileg = m_const_instruments.getMultileg(isin)) return multileg->instruments;
    if (const SInstrCLR* const instrument = FindInstrumentCLR(isin))
        return {{.instrCLR = instrument, .quantityCoeff = 1}};
    return {};
}

void PositionCalculatorInstruments::CheckMoneyCoeffs(Isin isin, const std::vector<SInstrQuantity>& legs,
                                                     std::string_view code) const
{
    if (legs.size() < MostLegs) return;
    const Isin first = legs[0].instrCLR->isin;
    const Isin second = legs[1].instrCLR->isin;
    if (!SameMoney(GetLotMoneyCoeff(first, code), GetLotMoneyCoeff(second, code)))
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_DIFFERENT_FUTURES_MONEYCOEFF_IN_MULTILEG, KV7_CURRENT_LOCATION)
            .Fmt("Multileg isin: %d FirstLeg: %d SecondLeg: %d", isin, first, second);
}

void PositionCalculatorInstruments::InsertInstrument(std::int32_t id, Isin isin, std::int32_t tradeModeID,
                                                     double minStepTraded, double minStepPriceTraded,
                                                     const std::string& code)
{
    if (m_const_instruments.m_instruments.contains(id))
        RefuseInstrumentID(Z9ERR_POSITION_CALCULATOR_INSTRUMENT_ALREADY_EXISTS, id);
    SInstrTRD instrument;
    CopyCode(instrument, id, code);
    instrument.isin_clr = isin;
    instrument.tradeModeID = tradeModeID;
    instrument.minStepTraded = minStepTraded;
    instrument.minStepPriceTraded = minStepPriceTraded;
    // The two enumerations count the same kinds alike.
    instrument.type = static_cast<Enums::TradingInstrType>(getClearingInstrumentType(isin));
    instrument.tradeMode = Find(std::as_const(m_const_instruments.m_tradeModes), tradeModeID);
    instrument.instruments = LegsOf(isin);
    CheckMoneyCoeffs(isin, instrument.instruments, code);
    m_const_instruments.m_instruments.try_emplace(id, std::move(instrument));
}

void PositionCalculatorInstruments::InsertInstrumentsRate(std::int32_t id, double rate)
{
    const Isin isin = getClearingIsinByTrading(id);
    if (GetInstrumentsRate(id) != nullptr) RefuseInstrumentID(Z9ERR_POSITION_CALCULATOR_INSTRUMENT_ALREADY_EXISTS, id);
    p_default_instruments.m_tradeinstruments.try_emplace(id, SInstrTRD2{isin, CheckedRate(rate)});
}

void PositionCalculatorInstruments::UpdateInstrumentsRate(std::int32_t id, double rate)
{
    SInstrTRD2* const instrument = Find(p_default_instruments.m_tradeinstruments, id);
    if (instrument == nullptr) RefuseInstrumentID(Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, id);
    instrument->fixedFeeRate = CheckedRate(rate);
}

const SInstrTRD& PositionCalculatorInstruments::getInstrumentTRD(std::int32_t id) const
{
    const SInstrTRD* const instrument = Find(m_const_instruments.m_instruments, id);
    if (instrument == nullptr) RefuseInstrumentID(Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, id);
    return *instrument;
}

Isin PositionCalculatorInstruments::getClearingIsinByTrading(std::int32_t id) const
{
    return getInstrumentTRD(id).isin_clr;
}

bool PositionCalculatorInstruments::getInstrShouldTakeIntoAccountPrice1(std::int32_t id) const
{
    return TradeModeOf(getInstrumentTRD(id)).shouldTakeIntoAccountPrice1;
}

const SInstrTRD2* PositionCalculatorInstruments::GetInstrumentsRate(std::int32_t id) const noexcept
{
    return Find(p_default_instruments.m_tradeinstruments, id);
}

const STradeMode& PositionCalculatorInstruments::TradeModeOf(const SInstrTRD& instrument)
{
    if (instrument.tradeMode != nullptr) return *instrument.tradeMode;
    throw CZ9Error(Z9ERR_POSITION_CALCULATOR_TRADEMODEID_NOT_FOUND, KV7_CURRENT_LOCATION)
        .Fmt("TradeModeID: %d", instrument.tradeModeID);
}

const SInstrTRD& PositionCalculatorInstruments::PairOf(std::int32_t id) const
{
    const SInstrTRD& instrument = getInstrumentTRD(id);
    if (instrument.instruments.size() < MostLegs)
        RefuseInstrumentID(Z9ERR_POSITION_CALCULATOR_PAIR_INSTRUMENTID_EXPECTED, id);
    return instrument;
}

t_bprice_int PositionCalculatorInstruments::getFirstPartPrice(std::int32_t id, t_bprice_int price1) const
{
    const SInstrTRD& pair = PairOf(id);
    return TradeModeOf(pair).shouldTakeIntoAccountPrice1 ? price1 : pair.instruments[0].instrCLR->getRealPrice();
}

t_bprice_int PositionCalculatorInstruments::getSwapPrice(std::int32_t id, t_bprice_int firstPartPrice,
                                                         t_bprice_int secondPartPrice) const
{
    const SInstrTRD& pair = PairOf(id);
    (void)TradeModeOf(pair);
    const auto contracts = [&](std::size_t leg) { return Magnitude(pair.instruments[leg].quantityCoeff); };
    const Int128 price = contracts(1) * secondPartPrice.AsPlain() - contracts(0) * firstPartPrice.AsPlain();
    return t_bprice_int::FromPlain(Narrowed(price, pair.isin_clr));
}

void PositionCalculatorInstruments::UpdateFutures(Isin isin, double timeToExpiration, const t_bprice& price)
{
    SFutures* const futures = p_default_instruments.getFutures(isin);
    if (futures == nullptr)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND, KV7_CURRENT_LOCATION).Fmt("Isin: %d", isin);
    futures->settlPriceReal = ToPriceInt(price);
    futures->timeToExpiration = timeToExpiration;
}

void PositionCalculatorInstruments::UpdateVirtFutures(std::string_view code, double minStepPrice)
{
    SVirtFutures* const series = Find(p_default_instruments.m_virtFutures, code);
    if (series == nullptr)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_NOT_FOUND, KV7_CURRENT_LOCATION)
            .Fmt("Virtual Futures Code: %s", std::string(code).c_str());
    series->minStepPrice = minStepPrice;
}

void PositionCalculatorInstruments::UpdateOption(Isin isin, const t_bprice& price)
{
    SOption* const option = p_default_instruments.getOption(isin);
    if (option == nullptr)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_OPTION_NOT_FOUND, KV7_CURRENT_LOCATION).Fmt("Isin: %d", isin);
    option->calcOptPrice = ToPriceInt(price);
}

} // namespace pos
