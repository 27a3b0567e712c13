// Loading the dictionary from a host's storage.
#include <utility>

#include "PositionCalculatorInstruments.h"
#include "replica/PositioningExternalStorage.h"

namespace pos {

void PositionCalculatorInstruments::Init(const IPositioningExternalStorage& storage)
{
    // The old tables wait aside; their rows keep their addresses while they are moved.
    SConstInstrumentsParameters constInstruments;
    SMutableInstrumentsParameters instruments;
    CInstrTypeList types;
    decltype(m_futuresByCode) futuresByCode;
    const auto exchange = [&]() noexcept {
        std::swap(m_const_instruments, constInstruments);
        std::swap(p_default_instruments, instruments);
        m_instr_types.swap(types);
        m_futuresByCode.swap(futuresByCode);
    };
    exchange();
    try {
        LoadFrom(storage);
    } catch (...) {
        exchange();
        throw;
    }
}

void PositionCalculatorInstruments::LoadFrom(const IPositioningExternalStorage& storage)
{
    for (const BaseContractRow& row : storage.GetBaseContracts())
        InsertBaseContract(row.id, row.is_curr, row.indicatorIndex);
    for (const TradeModeRow& row : storage.GetTradeModes())
        InsertTradeMode(row.id, row.status, row.price_type, row.auct_type, row.shouldCollectFeeForInternalTrades,
                        row.shouldTakeIntoAccountPrice1, row.shouldReplicatePrice1);
    for (const FuturesRow& row : storage.GetFutures())
        InsertFutures(row.code, row.isin, row.baseContractID, row.minStep, row.minStepPrice, row.price,
                      row.timeToExpiration, row.attribute, row.xlot);
    for (const VirtFuturesRow& row : storage.GetVirtFutures())
        InsertVirtFutures(row.code, row.futuresCode, row.marginStyle, row.minStep, row.minStepPrice);
    for (const OptionRow& row : storage.GetOptions())
        InsertOption(row.code, row.seriesCode, row.isin, row.optType, row.price);
    for (const MultilegRow& row : storage.GetMultilegs())
        InsertMultileg(row.isin, row.legIsin, row.quantityCoeff, row.legOrderNum);
    for (const InstrumentRow& row : storage.GetInstruments())
        InsertInstrument(row.id, row.isin, row.tradeModeID, row.minStepTraded, row.minStepPriceTraded, row.code);
    for (const InstrumentsRateRow& row : storage.GetInstrumentsRates())
        InsertInstrumentsRate(row.id, row.fixedFeeRate);
}

} // namespace pos
