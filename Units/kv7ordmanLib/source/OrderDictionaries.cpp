// The dictionaries of the order manager: trading instruments and trade modes, one set for the process.
#include "OrderManager.h"

// They take memory from their first row on, so that loading the library cannot fail by them, and give it back when they
// close.
DenseDictionary<COrderManager::SInstrument> COrderManager::instruments;
DenseDictionary<COrderManager::STradeMode> COrderManager::trademodes;
bool COrderManager::dictionariesInited = false;

namespace {

std::int32_t IdOf(const COrderManager::SInstrument& instrument) noexcept { return instrument.InstrumentID; }

std::int32_t IdOf(const COrderManager::STradeMode& tradeMode) noexcept { return tradeMode.TradeModeID; }

template <class Row>
Z9ERR Insert(DenseDictionary<Row>& dictionary, const Row& row)
{
    if (IdOf(row) == NoDictionaryId) return Z9ERR_COMMON_WRONG_ARGUMENTS;
    return dictionary.insert({IdOf(row), row}).second ? Z9ERR_OK : Z9ERR_COMMON_DUPLICATE;
}

// With its assertions on, the map compares the key with that of deleted rows, which it reads only if there is one; gcc
// 12 does not see the condition.
#pragma GCC diagnostic push
#ifndef __clang__ // it knows no warning of this name
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
template <class Row>
void Open(DenseDictionary<Row>& dictionary)
{
    dictionary.set_empty_key(NoDictionaryId);
}
#pragma GCC diagnostic pop

template <class Row>
Z9ERR Fill(DenseDictionary<Row>& dictionary, const std::vector<Row>& rows)
{
    Open(dictionary);
    for (const Row& row : rows)
        if (const Z9ERR code = Insert(dictionary, row); code != Z9ERR_OK) return code;
    return Z9ERR_OK;
}

template <class Row>
const Row* Find(const DenseDictionary<Row>& dictionary, std::int32_t id)
{
    if (id == NoDictionaryId) return nullptr;
    const auto found = dictionary.find(id);
    return found == dictionary.end() ? nullptr : &found->second;
}

} // namespace

Z9ERR COrderManager::Init() { return Init({}, {}); }

Z9ERR COrderManager::Init(const std::vector<SInstrument>& instrumentRows, const std::vector<STradeMode>& tradeModeRows)
{
    if (dictionariesInited) return Z9ERR_OK;
    DenseDictionary<SInstrument> filledInstruments;
    DenseDictionary<STradeMode> filledTradeModes;
    if (const Z9ERR code = Fill(filledInstruments, instrumentRows); code != Z9ERR_OK) return code;
    if (const Z9ERR code = Fill(filledTradeModes, tradeModeRows); code != Z9ERR_OK) return code;

    instruments.swap(filledInstruments);
    trademodes.swap(filledTradeModes);
    dictionariesInited = true;
    return Z9ERR_OK;
}

Z9ERR COrderManager::InsertInstrument(const SInstrument& instrument)
{
    return dictionariesInited ? Insert(instruments, instrument) : Z9ERR_COMMON_NOT_INITIALIZED;
}

Z9ERR COrderManager::InsertTradeMode(const STradeMode& tradeMode)
{
    return dictionariesInited ? Insert(trademodes, tradeMode) : Z9ERR_COMMON_NOT_INITIALIZED;
}

const COrderManager::SInstrument* COrderManager::FindInstrument(std::int32_t instrumentID)
{
    return dictionariesInited ? Find(instruments, instrumentID) : nullptr;
}

const COrderManager::STradeMode* COrderManager::FindTradeMode(std::int32_t tradeModeID)
{
    return dictionariesInited ? Find(trademodes, tradeModeID) : nullptr;
}

void COrderManager::ClearDictionaries() noexcept
{
    if (!dictionariesInited) return;
    instruments.clear_no_resize();
    trademodes.clear_no_resize();
    dictionariesInited = false;
}
