// The calculator's multilegs: entered by their code by a caller, or row by row from a download.
#include "CalcGOEx.h"

#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "instruments/InstrumentsRepository.h"
#include "kv7errors.h"

namespace QuindalIM {

namespace {

constexpr char PartSeparator = '-';

// A calendar spread is sold near and bought far.
constexpr int NearRatio = -1;
constexpr int FarRatio = 1;
constexpr unsigned char NearOrder = 1;
constexpr unsigned char FarOrder = 2;

/// Codes of the two futures that PREFIX-NEAR-FAR names: PREFIX-NEAR and PREFIX-FAR. The text behind the second "-",
/// further "-" included, belongs to the far one. Nothing for a code with fewer than two "-".
[[nodiscard]] std::optional<std::pair<std::string, std::string>> LegsOf(std::string_view code)
{
    const std::size_t first = code.find(PartSeparator);
    if (first == std::string_view::npos) return std::nullopt;
    const std::size_t second = code.find(PartSeparator, first + 1);
    if (second == std::string_view::npos) return std::nullopt;
    const std::string_view prefix = code.substr(0, first);
    return std::pair{std::string(code.substr(0, second)), std::string(prefix).append(code.substr(second))};
}

} // namespace

// By code.

Z9ERR CCalcGOEx::InsertMultileg(const char* MultilegCode)
{
    std::list<std::string> entry{MultilegCode}; // made while nothing is entered yet, so that the end cannot fail
    const auto legs = LegsOf(entry.front());
    if (!legs) return Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS;
    const auto nearLeg = m_Code_Isin_uMap.find(legs->first);
    const auto farLeg = m_Code_Isin_uMap.find(legs->second);
    if (nearLeg == m_Code_Isin_uMap.end() || farLeg == m_Code_Isin_uMap.end())
        return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;

    const std::int32_t nearIsin = nearLeg->second; // a new code may move the map's entries
    const std::int32_t farIsin = farLeg->second;
    const std::int32_t isin = GetIsin(entry.front());
    Z9ERR result = instrumentsRepository_.InsertMultileg(isin, nearIsin, NearRatio, NearOrder);
    if (result != Z9ERR_OK) return result;
    result = instrumentsRepository_.InsertMultileg(isin, farIsin, FarRatio, FarOrder);
    if (result != Z9ERR_OK) return result;

    m_MultilegCodeIndex.splice(m_MultilegCodeIndex.end(), entry);
    m_empty = false;
    return Z9ERR_OK;
}

// From a download.

void CCalcGOEx::PreloadMultileg(const SMultilegDictionaryStruct& row)
{
    preloadedMultilegCache[std::int32_t{row.Isin}].push(row);
    m_empty = false;
}

void CCalcGOEx::ValidateAndInsertMultilegs()
{
    struct Leg
    {
        SMultilegDictionaryStruct row;
        std::string code;
    };
    const auto insert = [this](const Leg& leg) {
        return InsertMultileg(leg.row.Isin, leg.row.IsinLeg, leg.code.c_str(), leg.row.QuantityRatio,
                              static_cast<unsigned char>(leg.row.LegOrderNum));
    };
    for (auto& [serverIsin, rows] : preloadedMultilegCache) {
        // A leg goes in only together with its partner: an open record would take the first row of the next multileg
        // for its second.
        std::optional<Leg> waiting;
        for (; !rows.empty(); rows.pop()) {
            Leg leg{rows.top(), {}};
            int isinLeg = leg.row.IsinLeg;
            if (!m_RealIsinStorage.Find(isinLeg, leg.code)) continue;
            if (!waiting) {
                waiting = std::move(leg);
                continue;
            }
            if (insert(*waiting) == Z9ERR_OK) static_cast<void>(insert(leg)); // a wrong multileg harms no other one
            waiting.reset();
        }
    }
}

Z9ERR CCalcGOEx::InsertMultileg(int /*Isin*/, int /*IsinLeg*/, const char* legCode, int ratio, unsigned char legOrder)
{
    const kv7im::CSpecMultileg* const multileg = instrumentsRepository_.GetMultileg(m_Isin);
    if (multileg == nullptr && m_Isin_Code_uMap.contains(m_Isin)) return Z9ERR_CALCGO_API_COMMON_ERROR;
    if (multileg != nullptr && multileg->GetCompleted()) return Z9ERR_CALCGO_API_ERROR_FUTURES_ALREADY_EXIST;

    const kv7im::CSpecFutures* const leg = instrumentsRepository_.GetFutures(std::string_view(legCode));
    if (leg == nullptr) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;
    const Z9ERR result = instrumentsRepository_.InsertMultileg(m_Isin, leg->isin, ratio, legOrder);
    if (multileg == nullptr) return result; // its partner comes next

    EnterCompletedMultileg(*multileg, m_Isin++); // a row that was refused has completed it too
    return result;
}

void CCalcGOEx::EnterCompletedMultileg(const kv7im::CSpecMultileg& multileg, std::int32_t isin)
{
    const kv7im::CSpecFutures& first = *instrumentsRepository_.GetFutures(multileg.GetFirstLegIsin());
    const kv7im::CSpecFutures& second = *instrumentsRepository_.GetFutures(multileg.GetSecondLegIsin());
    std::list<std::string> entry{MakeMultilegCode(first.Code, second.Code)};
    m_Code_Isin_uMap.emplace(entry.front(), isin);
    m_Isin_Code_uMap.emplace(isin, entry.front());
    m_MultilegCodeIndex.splice(m_MultilegCodeIndex.end(), entry);
    m_empty = false;
}

std::pair<std::string, std::string> CCalcGOEx::GetFuturesParts(const std::string& code)
{
    const std::size_t separator = code.find(PartSeparator);
    if (separator == std::string::npos || code.find(PartSeparator, separator + 1) != std::string::npos) return {};
    return {code.substr(0, separator), code.substr(separator + 1)};
}

std::string CCalcGOEx::MakeMultilegCode(const std::string& first, const std::string& second)
{
    const auto [prefix, near] = GetFuturesParts(first);
    return prefix + PartSeparator + near + PartSeparator + GetFuturesParts(second).second;
}

// Cursor.

std::int32_t CCalcGOEx::SetOnFirstMultileg() noexcept
{
    m_currentMultileg = m_MultilegCodeIndex.begin();
    return static_cast<std::int32_t>(m_MultilegCodeIndex.size());
}

Z9ERR CCalcGOEx::GetNextMultileg(std::string& code)
{
    if (m_currentMultileg == m_MultilegCodeIndex.end()) return Z9ERR_QUINDAL_IM_END_OF_DATA;
    code = *m_currentMultileg;
    ++m_currentMultileg;
    return Z9ERR_OK;
}

} // namespace QuindalIM
