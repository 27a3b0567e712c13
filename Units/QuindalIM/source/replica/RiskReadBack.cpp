// Risk objects as flat arrays, and the search for them in a participant's book.
//
// Const access only: a lookup by isin makes positions in a book, so nothing here goes through one.
#include <cstddef>

#include "CalcGO.h"
#include "ParticipantBase.h"
#include "book/Portfolio.h"
#include "grids/Risk.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecVirtFutures.h"
#include "nodes/RiskNode.h"

namespace QuindalIM {

namespace {

using enum eChooseRiskType;
using kv7im::AccessByStatus;
using kv7im::Risk;
using kv7im::SpecialRiskPoints;

[[nodiscard]] bool Has(eChooseRiskType riskType, eChooseRiskType bit) noexcept
{
    return (static_cast<std::int32_t>(riskType) & static_cast<std::int32_t>(bit)) != 0;
}
[[nodiscard]] bool IsFinal(eChooseRiskType riskType) noexcept
{
    return Has(riskType, Matrix_Final) || Has(riskType, Matrix_FinalWithPositiveValues);
}
[[nodiscard]] bool IsOfExpiration(eChooseRiskType riskType) noexcept { return Has(riskType, ExpirationRiskNode); }

/// One side of a node that is kept as rows.
struct RowAndPoints
{
    const kv7im::avxarray& row;
    const SpecialRiskPoints& points;
};
[[nodiscard]] RowAndPoints SideOf(const kv7im::RolledUpRiskNode& node, eChooseRiskType riskType) noexcept
{
    if (IsOfExpiration(riskType)) return {node.Expiration(), node.ExpirationPoints()};
    return {node.Volatility(), node.VolatilityPoints()};
}
[[nodiscard]] RowAndPoints SideOf(const kv7im::RiskNodeMCS& node, eChooseRiskType riskType) noexcept
{
    if (IsOfExpiration(riskType)) return {node.ExpirationRow(), node.ExpirationPoints()};
    return {node.VolatilityRow(), node.VolatilityPoints()};
}

} // namespace

void _ExtraRisksInfo::Fill(_ExtraRisksInfo& info, const SpecialRiskPoints& points, std::size_t subPointsCount) noexcept
{
    static_assert(kv7im::stress::Points.size() == 8, "each stress point is read back");
    info.DownRisk = points.GetDownRisk();
    info.ZL = points.GetZL();
    info.PnL3D = points.GetPnL3D();
    info.PnL2D = points.GetPnL2D();
    info.PnL2U = points.GetPnL2U();
    info.PnL3U = points.GetPnL3U();
    info.ZR = points.GetZR();
    info.UpRisk = points.GetUpRisk();
    info.SubPointsCount = static_cast<std::int32_t>(subPointsCount);
}

std::vector<double> CCalcGO::ToVector(const kv7im::avxarray& row, std::size_t& pointsNum)
{
    pointsNum = row.size();
    std::vector<double> cells(row.size());
    for (std::size_t i = 0; i < cells.size(); ++i)
        cells[i] = row[i];
    return cells;
}

// The length is that of the last row; a matrix without rows does not tell one.
std::vector<double> CCalcGO::ToVector(const kv7im::RiskMatrix& matrix, std::size_t& pointsNum, std::size_t& scenarioNum)
{
    scenarioNum = matrix.RowsCount();
    std::vector<double> cells;
    cells.reserve(matrix.RowsCount() * matrix.ColsCount());
    for (std::size_t scenario = 0; scenario < matrix.RowsCount(); ++scenario) {
        const kv7im::RiskRowWrapper row = matrix[scenario];
        pointsNum = row.size();
        for (std::size_t point = 0; point < row.size(); ++point)
            cells.push_back(row[point]);
    }
    return cells;
}

std::vector<double> CCalcGO::ToVector(const Risk& risk, eChooseRiskType riskType, std::size_t& pointsNum,
                                      std::size_t& scenarioNum, _ExtraRisksInfo& xInfo)
{
    const kv7im::Profile& profile = risk.GetRisk();
    _ExtraRisksInfo::Fill(xInfo, profile.GetSpecialRiskPoints(), profile.GetParameters().subPointsCount);
    if (Has(riskType, Matrix_Volatility)) return ToVector(profile.Volatility(), pointsNum, scenarioNum);
    if (Has(riskType, Matrix_InterestRate)) return ToVector(profile.InterestRate(), pointsNum, scenarioNum);
    if (Has(riskType, Matrix_VolatMismatch)) return ToVector(profile.VolatilityMismatch(), pointsNum, scenarioNum);
    if (Has(riskType, Matrix_Expiration)) return ToVector(profile.Expiration(), pointsNum, scenarioNum);
    return {};
}

std::vector<double> CCalcGO::ToVector(const kv7im::avxarray& row, const SpecialRiskPoints& points,
                                      std::size_t& pointsNum, std::size_t& scenarioNum, _ExtraRisksInfo& xInfo)
{
    scenarioNum = 1;
    _ExtraRisksInfo::Fill(xInfo, points, 0);
    return ToVector(row, pointsNum);
}

std::vector<double> CCalcGO::ToVector(const kv7im::RiskNodeBase& node, const kv7im::CSpecBaseContract& baseContract,
                                      eChooseRiskType riskType, std::size_t& pointsNum, std::size_t& scenarioNum,
                                      _ExtraRisksInfo& xInfo)
{
    if (!IsFinal(riskType))
        return ToVector(IsOfExpiration(riskType) ? node.Expiration() : node.Volatility(), riskType, pointsNum,
                        scenarioNum, xInfo);

    kv7im::RolledUpRiskNode rolledUp = node.GetRolledUpRiskNode(Has(riskType, Matrix_FinalWithPositiveValues)
                                                                    ? Risk::CollapseProperty::NegativeAndPositive
                                                                    : Risk::CollapseProperty::Negative);
    rolledUp.ApplyCorrection(baseContract);
    const RowAndPoints side = SideOf(rolledUp, riskType);
    return ToVector(side.row, side.points, pointsNum, scenarioNum, xInfo);
}

std::vector<double> CCalcGO::ToVector(const ParticipantBase* participant, const kv7im::Portfolio& book,
                                      const std::string& instrument, eChooseRiskType riskType, std::size_t& pointsNum,
                                      std::size_t& scenarioNum, _ExtraRisksInfo& xInfo) const
{
    const auto fromStored = [&](const auto& node) {
        const RowAndPoints side = SideOf(node, riskType);
        return ToVector(side.row, side.points, pointsNum, scenarioNum, xInfo);
    };

    // The rolled-up entry from below, which is all that the margin of such a participant is made of.
    if (participant->GetMarginRule() == Enums::MarginRule::HalfNetting) {
        const kv7im::RolledUpRiskNode* const entry = book.GetHalfNettingRisksByCode(instrument);
        if (entry != nullptr) return fromStored(*entry);
    }

    // A futures, a series, an MMS.
    const NodeWithMatrices found = FindNodeWithMatrices(book, instrument);
    if (found.node != nullptr)
        return ToVector(*found.node, *found.baseContract, riskType, pointsNum, scenarioNum, xInfo);

    // An MCS, whose matrices are empty for good: its rows are what there is, whatever the type.
    const kv7im::RiskNodeMCS* const mcs = book.GetRisksNodeOfLevelMCS(instrument);
    if (mcs != nullptr) return fromStored(*mcs);

    pointsNum = scenarioNum = 0;
    return {};
}

CCalcGO::NodeWithMatrices CCalcGO::FindNodeWithMatrices(const kv7im::Portfolio& book, const std::string& code) const
{
    NodeWithMatrices found = FindNodeOfFutures(book, code);
    if (found.node == nullptr) found = FindNodeOfSeries(book, code);
    if (found.node == nullptr) found = FindNodeOfMMS(book, code);
    return found;
}

CCalcGO::NodeWithMatrices CCalcGO::FindNodeOfFutures(const kv7im::Portfolio& book, const std::string& code) const
{
    const kv7im::CSpecFutures* const futures = instrumentsRepository_.GetFutures(AccessByStatus::eCurrent, code);
    if (futures == nullptr) return {};
    const kv7im::CumulativePositionByFutures* const position = book.GetFuturesPositionByIsin(futures->isin);
    if (position == nullptr) return {};
    return {&position->GetOwnerRiskNode(), futures->BaseContract};
}

CCalcGO::NodeWithMatrices CCalcGO::FindNodeOfSeries(const kv7im::Portfolio& book, const std::string& code) const
{
    const kv7im::CSpecVirtFutures* const series =
        instrumentsRepository_.GetVirtualFutures(AccessByStatus::eCurrent, code);
    if (series == nullptr) return {};
    const kv7im::CumulativePositionByFutures* const position = book.GetFuturesPositionByIsin(series->Futures->isin);
    if (position == nullptr) return {};
    return {position->GetRiskNodeOptionSeriesByVFCode(code), series->Futures->BaseContract};
}

CCalcGO::NodeWithMatrices CCalcGO::FindNodeOfMMS(const kv7im::Portfolio& book, const std::string& code) const
{
    const kv7im::CSpecBaseContract* const baseContract =
        instrumentsRepository_.GetBaseContract(AccessByStatus::eCurrent, code);
    if (baseContract == nullptr) return {};
    return {book.GetRisksNodeOfLevelMMS(code), baseContract};
}

} // namespace QuindalIM
