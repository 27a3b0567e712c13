#include "kernels/OptionKernels.h"

#include <algorithm>

#include "grids/RowCells.h"
#include "kernels/OptionChangeKernels.h"
#include "kernels/SeriesTakers.h"

namespace kv7im {

namespace {

using kernels::Collapse;
using kernels::Collapsed;
using kernels::RowsOfView;
using kernels::StressRows;

// Folds a lane of neighbouring RiskItems into another lane of others, by minimum; the new cell wins where either is no
// number.
void FoldLane(RiskItem* target, std::size_t targetLane, const RiskItem* source, std::size_t lane,
              std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i)
        target[i][targetLane] = Min(target[i][targetLane], source[i][lane]);
}

void FoldColumn(const RiskMatrix& source, std::size_t column, RiskItem* target, std::size_t lane) noexcept
{
    const std::size_t rows = source.RowsCount();
    FoldLane(target, lane, source.pData() + column / RiskItem::Lanes * rows, column % RiskItem::Lanes, rows);
}

// Calls fold for the sub-points of a series, ascending, each with the real point that it is bound to.
template <class Fold>
void ForEachSubPoint(const Profile& series, std::size_t columns, Fold fold) noexcept
{
    const BindsRow* const binding = series.Volatility().Binding();
    if (binding == nullptr) return;
    const std::size_t realPoints = series.GetParameters().pointsCount;
    for (std::size_t column = realPoints; column < std::min(binding->size, columns); ++column)
        if (const std::size_t target = binding->binding[column]; target < realPoints) fold(column, target);
}

// Turns one block of a view into its losses: the stresses are folded into the values, without the mismatch in the
// central scenario. The ceiling stands first in the minimum.
void KeepLosses(RiskItem* block, std::size_t scenarios, std::size_t median, RiskItem ceiling) noexcept
{
    RiskItem* const rates = block + scenarios;
    RiskItem* const mismatches = rates + StressRows;
    RiskItem rate(LargestFinite);
    RiskItem mismatch(LargestFinite);
    for (std::size_t row = 0; row < StressRows; ++row) {
        rate = Min(rates[row], rate);
        mismatch = Min(mismatches[row], mismatch);
        rates[row] = mismatches[row] = RiskItem(0.0);
    }
    for (std::size_t i = 0; i < scenarios; ++i) {
        const RiskItem stressed = Add(rate, block[i]);
        block[i] = Min(ceiling, i == median ? stressed : Add(stressed, mismatch));
    }
}

} // namespace

kernels::DeliveryScenarios kernels::DeliveryScenariosOf(const CSpecOption& option, Enums::ClientRiskLevel level,
                                                        std::size_t count)
{
    const CSpecVirtFutures& series = *option.VirtFutures;
    const double limit = series.Futures->Limit[level];
    DeliveryScenarios scenarios;
    for (const double price : series.PointsForDeliveryRisksCalculation[level]) {
        if (scenarios.size() == std::min(count, MostDeliveries)) break;
        scenarios.emplace_back(option, price, limit);
    }
    return scenarios;
}

std::size_t LengthOfFoldScratch(const Profile& series) noexcept
{
    return std::max(LengthOfView(series),
                    series.Volatility().GetColsRegister() * kernels::CollapseColumns::Rows * RiskItem::Lanes);
}

void FoldCollapsedColumns(const Profile& series, RiskRow& scratch, RiskRow& row) noexcept
{
    constexpr std::size_t rows = kernels::CollapseColumns::Rows;
    RiskItem* const cells = scratch.pData();
    ForEachSubPoint(series, series.Volatility().ColsCount(), [&](std::size_t column, std::size_t realPoint) {
        RiskItem* const target = cells + realPoint / RiskItem::Lanes * rows;
        const RiskItem* const source = cells + column / RiskItem::Lanes * rows;
        FoldLane(target, realPoint % RiskItem::Lanes, source, column % RiskItem::Lanes, rows);
    });
    for (std::size_t block = 0; block < row.GetRegisterCount(); ++block)
        row.pData()[block] = Collapsed(cells[block * rows], cells[block * rows + 1], cells[block * rows + 2]);
}

void WorstOfDeliveryRows(const Profile& series, RiskRow& worst) noexcept
{
    for (std::size_t block = 0; block < worst.GetRegisterCount(); ++block)
        worst.pData()[block] = series.Expiration().MinimumInColumn(block);
}

std::size_t LengthOfView(const Profile& series) noexcept
{
    const Parameters& parameters = series.GetParameters();
    return RegistersOf(parameters.pointsCount) * RowsOfView(parameters.scenariosVolatilityCount) * RiskItem::Lanes;
}

void MakeView(const Profile& series, std::optional<double> ceiling, RiskRow& view) noexcept
{
    const std::size_t scenarios = series.Volatility().RowsCount();
    const std::size_t rows = RowsOfView(scenarios);
    const std::size_t blocks = RegistersOf(series.GetParameters().pointsCount);
    for (std::size_t block = 0; block < blocks; ++block) {
        RiskItem* target = view.pData() + block * rows;
        target = std::copy_n(series.Volatility().pData() + block * scenarios, scenarios, target);
        target = std::copy_n(series.InterestRate().pData() + block * StressRows, StressRows, target);
        std::copy_n(series.VolatilityMismatch().pData() + block * StressRows, StressRows, target);
    }
    ForEachSubPoint(series, series.Volatility().ColsCount(), [&](std::size_t column, std::size_t realPoint) {
        RiskItem* const block = view.pData() + realPoint / RiskItem::Lanes * rows;
        const std::size_t lane = realPoint % RiskItem::Lanes;
        FoldColumn(series.Volatility(), column, block, lane);
        FoldColumn(series.InterestRate(), column, block + scenarios, lane);
        FoldColumn(series.VolatilityMismatch(), column, block + scenarios + StressRows, lane);
    });
    if (!ceiling) return;
    const std::size_t median = series.Volatility().MedianLineNumber();
    for (std::size_t block = 0; block < blocks; ++block)
        KeepLosses(view.pData() + block * rows, scenarios, median, *ceiling);
}

void MakeDeliveryView(const Profile& series, const RiskRow& worst, std::optional<double> ceiling,
                      RiskRow& view) noexcept
{
    std::copy_n(worst.pData(), view.GetRegisterCount(), view.pData());
    double* const cells = CellsOf(view);
    const RiskRow& columns = worst;
    ForEachSubPoint(series, columns.size(), [&](std::size_t column, std::size_t realPoint) {
        cells[realPoint] = Min(cells[realPoint], columns[column]);
    });
    if (ceiling) view.BoundValuesFromAbove(*ceiling);
}

void CollapseView(const Profile& series, const RiskRow& view, RiskRow& row) noexcept
{
    const std::size_t scenarios = series.Volatility().RowsCount();
    for (std::size_t block = 0; block < row.GetRegisterCount(); ++block) {
        const RiskItem* const cells = view.pData() + block * RowsOfView(scenarios);
        Collapse collapse(row);
        for (std::size_t i = 0; i < scenarios; ++i)
            collapse.values.Take(cells[i]);
        for (std::size_t i = 0; i < StressRows; ++i) {
            collapse.rates.Take(cells[scenarios + i]);
            collapse.mismatches.Take(cells[scenarios + StressRows + i]);
        }
        collapse.End(block);
    }
}

} // namespace kv7im
