#include "CalcGOEx.h"

#include <memory>
#include <new>
#include <utility>

#include "CalcGOConsts.h"
#include "ParticipantRepository.h"
#include "PositionCalculatorInstruments.h"
#include "Z9Log.h"
#include "grids/LazyMemoryPool.h"
#include "instruments/BaseContractParameters.h"
#include "instruments/FuturesParameters.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/OptionSeriesParameters.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"
#include "z9bcd.h"

namespace QuindalIM {

namespace {

// Takes an instrument out of the accounting dictionary again when the repository has no memory for it, so that the
// containers are as they were. It was entered there first; a refusal by code leaves it there.
template <class Insert, class TakeBack>
[[nodiscard]] Z9ERR OrTakeBack(const Insert& insert, const TakeBack& takeBack)
{
    try {
        return insert();
    } catch (...) {
        takeBack();
        throw;
    }
}

// Makes room for one more entry, so that entering it needs no memory. The room grows in large steps: a map that is
// asked for exactly what it needs is rebuilt each time. An empty map shows one bucket and has none.
template <class Map>
void MakeRoomForOne(Map& map)
{
    const auto room = static_cast<float>(map.bucket_count()) * map.max_load_factor();
    if (static_cast<float>(map.size() + 1) >= room) map.reserve(2 * (map.size() + 1));
}

} // namespace

CCalcGOEx::CCalcGOEx(ParticipantRepository& participantRepository, kv7im::InstrumentsRepository& instrumentsRepository,
                     pos::PositionCalculatorInstruments& posCalcInstruments)
    : CCalcGO(participantRepository, instrumentsRepository, posCalcInstruments)
{
    PutCursorsOnEnd();
}

Z9ERR CCalcGOEx::Create(CCalcGOEx*& calculator, ParticipantRepository& participantRepository,
                        kv7im::InstrumentsRepository& instrumentsRepository,
                        pos::PositionCalculatorInstruments& posCalcInstruments)
{
    calculator = nullptr;
    try {
        calculator =
            std::make_unique<CCalcGOEx>(participantRepository, instrumentsRepository, posCalcInstruments).release();
        return Z9ERR_OK;
    } catch (const std::bad_alloc&) {
        return Z9ERR_QUINDAL_IM_NOT_ENOUGH_MEMORY;
    }
}

void CCalcGOEx::Destroy(CCalcGOEx* calculator) noexcept { const std::unique_ptr<CCalcGOEx> owner(calculator); }

void CCalcGOEx::SetCommonParams(double EdgeCoeff) { static_cast<void>(instrumentsRepository_.SetEdgeCoeff(EdgeCoeff)); }

double CCalcGOEx::GetCommonParams() const { return instrumentsRepository_.GetEdgeCoeff(); }

Z9ERR CCalcGOEx::InsertCurrency(std::int32_t CurrencyId, double CurvatureRadius)
{
    std::list<std::int32_t> entry{CurrencyId}; // made first: once the repository has the currency, nothing can fail
    const Z9ERR result = instrumentsRepository_.InsertCurrency(CurrencyId, CurvatureRadius);
    if (result == Z9ERR_OK) m_currencyIndex.splice(m_currencyIndex.end(), entry);
    return result;
}

Z9ERR CCalcGOEx::InsertBaseContractEx(kv7im::BaseContractParameters parameters)
{
    // Made while nothing is entered yet, so that the end cannot fail.
    decltype(m_Code_Isin_uMap) codeToIsin{{parameters.Code, m_Isin}};
    decltype(m_Isin_Code_uMap) isinToCode{{m_Isin, parameters.Code}};
    MakeRoomForOne(m_Code_Isin_uMap);
    MakeRoomForOne(m_Isin_Code_uMap);

    posCalcInstruments_.InsertBaseContract(m_Isin, parameters.MSPType != Enums::MSPType::FixedPriceStep,
                                           parameters.CurrencyId);
    parameters.IsinVCB = m_Isin;
    const Z9ERR result = OrTakeBack([&] { return instrumentsRepository_.InsertBaseContract(std::move(parameters)); },
                                    [&] { posCalcInstruments_.RemoveBaseContract(m_Isin); });

    // Refused or not, the code has its isin. A repeat keeps the first isin of the code, and the new one names it too.
    m_Code_Isin_uMap.merge(codeToIsin);
    m_Isin_Code_uMap.merge(isinToCode);
    ++m_Isin;
    m_empty = false;
    return result;
}

Z9ERR CCalcGOEx::InsertFutures(kv7im::FuturesParameters parameters, const std::string& TASBaseFutCode)
{
    const auto baseContract = m_Code_Isin_uMap.find(parameters.CodeBC);
    if (baseContract == m_Code_Isin_uMap.end()) {
        Z9LogErrorEx(LogCategory, "Base contract (%s) not found while inserting futures (%s)",
                     parameters.CodeBC.c_str(), parameters.Code.c_str());
        return Z9ERR_CALCGO_API_ERROR_BC_NOT_FOUND;
    }
    const std::int32_t baseContractIsin = baseContract->second;
    const std::int32_t isin = GetIsin(parameters.Code);
    parameters.Isin = isin;
    parameters.TASBaseFutIsinID = TASBaseFutCode.empty() ? 0 : GetIsin(TASBaseFutCode);

    posCalcInstruments_.InsertFutures(parameters.Code, isin, baseContractIsin, parameters.MinStep,
                                      parameters.MinStepPrice, t_bprice(parameters.CalcFutPrice),
                                      parameters.TimeToExpiration, parameters.Attribute, parameters.XLot);
    const Z9ERR result = OrTakeBack([&] { return instrumentsRepository_.InsertFutures(std::move(parameters)); },
                                    [&] { posCalcInstruments_.RemoveFutures(isin); });
    m_empty = false;
    return result;
}

Z9ERR CCalcGOEx::InsertOptionSeries(const kv7im::OptionSeriesParameters& parameters)
{
    std::list<std::string> entry{parameters.Code}; // made while nothing is entered yet, so that the end cannot fail
    posCalcInstruments_.InsertVirtFutures(parameters.Code, parameters.CodeRF, parameters.marginStyle,
                                          parameters.MinStep, parameters.MinStepPrice);
    const Z9ERR result = OrTakeBack([&] { return instrumentsRepository_.InsertVirtFutures(parameters); },
                                    [&] { posCalcInstruments_.RemoveVirtFutures(parameters.Code); });

    m_VirtFuturesCodeIndex.splice(m_VirtFuturesCodeIndex.end(), entry);
    m_empty = false;
    return result;
}

Z9ERR CCalcGOEx::InsertOption(const char* OptionCode, const char* OptionSeriesCode, double Strike,
                              Enums::OptionType OptionType, double CalcOptPrice)
{
    std::list<std::string> entry{OptionCode};
    const std::int32_t isin = GetIsin(entry.front());

    // The accounting keeps the strike as the price of an option; no figure of the boundary is made of it.
    posCalcInstruments_.InsertOption(entry.front(), OptionSeriesCode, isin, OptionType, t_bprice(Strike));
    const Z9ERR result = OrTakeBack(
        [&] {
            return instrumentsRepository_.InsertOption(OptionCode, OptionSeriesCode, Strike, OptionType, CalcOptPrice,
                                                       isin);
        },
        [&] { posCalcInstruments_.RemoveOption(isin); });

    if (result != Z9ERR_OK) return result;
    m_OptionCodeIndex.splice(m_OptionCodeIndex.end(), entry);
    m_empty = false;
    return result;
}

void CCalcGOEx::ClearAll()
{
    participantRepository_.Clear();
    posCalcInstruments_.Clear();
    instrumentsRepository_.Clear();
    m_currencyIndex.clear();
    m_VirtFuturesCodeIndex.clear();
    m_OptionCodeIndex.clear();
    m_MultilegCodeIndex.clear();
    PutCursorsOnEnd();
    m_TablesData.Clear();
    m_Isin = 1;
    m_Code_Isin_uMap.clear();
    m_Isin_Code_uMap.clear();
    m_RealIsinStorage.Clear();
    preloadedMultilegCache.clear();
    m_empty = true;
    kv7im::auxiliary::LazyMemoryPool::GiveBack();
}

void CCalcGOEx::RemoveAllParticipants() { participantRepository_.Clear(); }

void CCalcGOEx::PutCursorsOnEnd()
{
    m_currentCurrency = m_currencyIndex.end();
    m_iBaseContract = instrumentsRepository_.RangeBaseContractByCode().end();
    m_iFutures = instrumentsRepository_.RangeFuturesByCode().end();
    m_currentVirtualFutures = m_VirtFuturesCodeIndex.end();
    m_currentOption = m_OptionCodeIndex.end();
    m_currentMultileg = m_MultilegCodeIndex.end();
}

std::int32_t CCalcGOEx::SetOnFirstCurrency() noexcept
{
    m_currentCurrency = m_currencyIndex.begin();
    return static_cast<std::int32_t>(m_currencyIndex.size());
}

Z9ERR CCalcGOEx::GetNextCurrency(std::int32_t& CurrencyId, double& CurvatureRadius)
{
    if (m_currentCurrency == m_currencyIndex.end()) return Z9ERR_QUINDAL_IM_END_OF_DATA;
    CurrencyId = *m_currentCurrency;
    CurvatureRadius = instrumentsRepository_.GetCurvatureRadius(CurrencyId);
    ++m_currentCurrency;
    return Z9ERR_OK;
}

std::int32_t CCalcGOEx::SetOnFirstBaseContract()
{
    m_iBaseContract = instrumentsRepository_.RangeBaseContractByCode().begin();
    return static_cast<std::int32_t>(instrumentsRepository_.CountBaseContract());
}

const kv7im::CSpecBaseContract* CCalcGOEx::GetNextBaseContract()
{
    if (m_iBaseContract == instrumentsRepository_.RangeBaseContractByCode().end()) return nullptr;
    const kv7im::BaseContractNode& node = *m_iBaseContract++;
    return node.GetCurrent();
}

std::int32_t CCalcGOEx::SetOnFirstFutures()
{
    m_iFutures = instrumentsRepository_.RangeFuturesByCode().begin();
    return static_cast<std::int32_t>(instrumentsRepository_.CountFutures());
}

const kv7im::CSpecFutures* CCalcGOEx::GetNextFutures()
{
    if (m_iFutures == instrumentsRepository_.RangeFuturesByCode().end()) return nullptr;
    const kv7im::FuturesNode& node = *m_iFutures++;
    return node.GetCurrent();
}

std::int32_t CCalcGOEx::SetOnFirstOptionSeries() noexcept
{
    m_currentVirtualFutures = m_VirtFuturesCodeIndex.begin();
    return static_cast<std::int32_t>(m_VirtFuturesCodeIndex.size());
}

Z9ERR CCalcGOEx::GetNextOptionSeries(const kv7im::CSpecVirtFutures*& series)
{
    if (m_currentVirtualFutures == m_VirtFuturesCodeIndex.end()) return Z9ERR_QUINDAL_IM_END_OF_DATA;
    series = instrumentsRepository_.GetVirtualFutures(kv7im::AccessByStatus::eCurrent, *m_currentVirtualFutures++);
    return series != nullptr ? Z9ERR_OK : Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND;
}

std::int32_t CCalcGOEx::SetOnFirstOption() noexcept
{
    m_currentOption = m_OptionCodeIndex.begin();
    return static_cast<std::int32_t>(m_OptionCodeIndex.size());
}

Z9ERR CCalcGOEx::GetNextOption(const kv7im::CSpecOption*& option)
{
    if (m_currentOption == m_OptionCodeIndex.end()) return Z9ERR_QUINDAL_IM_END_OF_DATA;
    option = instrumentsRepository_.GetOption(kv7im::AccessByStatus::eCurrent, *m_currentOption++);
    return option != nullptr ? Z9ERR_OK : Z9ERR_CALCGO_API_ERROR_OPTION_NOT_FOUND;
}

std::int32_t CCalcGOEx::GetIsin(const std::string& code)
{
    const auto [entry, isNew] = m_Code_Isin_uMap.try_emplace(code, m_Isin);
    if (!isNew) return entry->second;
    try {
        m_Isin_Code_uMap.emplace(m_Isin, code);
    } catch (...) {
        m_Code_Isin_uMap.erase(entry); // otherwise the next new code would get its isin too
        throw;
    }
    return m_Isin++;
}

Z9ERR CCalcGOEx::GetCodeByIsin(int isin, std::string& code) const
{
    const auto entry = m_Isin_Code_uMap.find(isin);
    if (entry == m_Isin_Code_uMap.end()) return Z9ERR_QUINDAL_IM_NOT_FOUND;
    code = entry->second;
    return Z9ERR_OK;
}

Z9ERR CCalcGOEx::GetIsinAndCalcPriceByCode(const char* code, int& isin, double& price) const
{
    if (code == nullptr) return Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS;
    const std::string_view text(code);
    if (const kv7im::CSpecFutures* futures = instrumentsRepository_.GetFutures(text)) {
        isin = futures->isin;
        price = futures->CalcFutPrice;
        return Z9ERR_OK;
    }
    if (const kv7im::CSpecOption* option = instrumentsRepository_.GetOption(kv7im::AccessByStatus::eCurrent, text)) {
        isin = option->isin;
        price = option->CalcOptPrice;
        return Z9ERR_OK;
    }
    const auto entry = m_Code_Isin_uMap.find(text);
    if (entry == m_Code_Isin_uMap.end()) return Z9ERR_QUINDAL_IM_NOT_FOUND;
    isin = entry->second;
    return Z9ERR_OK;
}

} // namespace QuindalIM
