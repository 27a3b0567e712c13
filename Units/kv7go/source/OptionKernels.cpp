#include "OptionKernels.h"

#include <algorithm>
#include <limits>

#include <boost/container/static_vector.hpp>

#include "Constants.h"
#include "FuturesKernels.h"
#include "RowCells.h"
#include "SpecFutures.h"
#include "SpecOption.h"
#include "SpecVirtFutures.h"

namespace kv7im {

namespace {

using kernels::Collapsed;
using kernels::Loss;
using kernels::Replaced;
using kernels::StressRows;
using kernels::Worst;

// A position spread over the lanes. A position without a bound has minus infinity for it, which changes nothing.
struct SpreadTransform
{
    explicit SpreadTransform(const OptionTransform& transform) noexcept
        : price(transform.price),
          bound(transform.premiumIsTheWorst ? -transform.price : -std::numeric_limits<double>::infinity()),
          scale(transform.scale)
    {}
    // The cell stands second in the maximum: a NaN stays one.
    [[nodiscard]] RiskItem OfValue(RiskItem cell) const noexcept { return Mul(Max(bound, Sub(cell, price)), scale); }
    [[nodiscard]] RiskItem OfStress(RiskItem cell) const noexcept { return Mul(cell, scale); }
    [[nodiscard]] RiskItem OfOutcome(RiskItem cell) const noexcept { return Mul(Sub(cell, price), scale); }

    RiskItem price;
    RiskItem bound;
    RiskItem scale;
};

// The price axis of a series, on which the rate stress of a grid takes its side.
struct PriceAxis
{
    explicit PriceAxis(const OptionTransform& transform) noexcept
        : prices(transform.option->VirtFutures->GetVolatilityMatrixCentralRow(transform.level)),
          centre(transform.option->VirtFutures->Futures->CalcFutPrice)
    {}
    [[nodiscard]] std::size_t Blocks() const noexcept { return RegistersOf(prices.size()); }
    [[nodiscard]] RiskItem RateUp(std::size_t block, RiskItem stress) const noexcept
    {
        return ZeroUnlessAbove(stress, prices.pData(block), centre);
    }
    [[nodiscard]] RiskItem RateDown(std::size_t block, RiskItem stress) const noexcept
    {
        return ZeroUnlessAbove(stress, centre, prices.pData(block));
    }

    const RiskRowWrapper prices;
    RiskItem centre;
};

// What a change of the series' cells is handed to, cell by cell.

struct NoTaker
{
    void Begin(std::size_t) noexcept {}
    void TakeValue(std::size_t, RiskItem, RiskItem) noexcept {}
    void TakeRate(std::size_t, RiskItem, RiskItem) noexcept {}
    void TakeMismatch(std::size_t, RiskItem, RiskItem) noexcept {}
    void End(std::size_t) noexcept {}
};

struct Collapse
{
    explicit Collapse(RiskRow& target) noexcept : row(target) {}
    void Begin(std::size_t) noexcept { values = rates = mismatches = Worst{}; }
    void TakeValue(std::size_t, RiskItem, RiskItem now) noexcept { values.Take(now); }
    void TakeRate(std::size_t, RiskItem, RiskItem now) noexcept { rates.Take(now); }
    void TakeMismatch(std::size_t, RiskItem, RiskItem now) noexcept { mismatches.Take(now); }
    void End(std::size_t block) noexcept
    {
        row.pData()[block] = Collapsed(values.value, rates.value, mismatches.value);
    }

    RiskRow& row;
    Worst values;
    Worst rates;
    Worst mismatches;
};

// Columns collapsed to their worst value, worst rate and worst mismatch, three RiskItems a block. Sub-points may be
// folded after that instead of before as long as no cell is NaN: a minimum of minima. Infinite cells count as suspect
// too.
struct CollapseColumns
{
    static constexpr std::size_t Rows = 3;

    CollapseColumns(RiskRow& target, std::size_t columnsCount) noexcept : scratch(target), columns(columnsCount) {}
    void Begin(std::size_t) noexcept
    {
        values = rates = mismatches = Worst{};
        sum = RiskItem(0.0);
    }
    void TakeValue(std::size_t, RiskItem, RiskItem now) noexcept { Take(values, now); }
    void TakeRate(std::size_t, RiskItem, RiskItem now) noexcept { Take(rates, now); }
    void TakeMismatch(std::size_t, RiskItem, RiskItem now) noexcept { Take(mismatches, now); }
    void End(std::size_t block) noexcept
    {
        RiskItem* const cells = scratch.pData() + block * Rows;
        cells[0] = values.value;
        cells[1] = rates.value;
        cells[2] = mismatches.value;
        const RiskItem nothing = Sub(sum, sum);
        for (std::size_t lane = 0; lane < RiskItem::Lanes; ++lane)
            if (block * RiskItem::Lanes + lane < columns) suspect |= nothing[lane] != 0.0;
    }

    RiskRow& scratch;
    std::size_t columns; // without the padding, which is NaN
    bool suspect = false;

private:
    void Take(Worst& worst, RiskItem now) noexcept
    {
        worst.Take(now);
        sum = Add(sum, now);
    }

    Worst values;
    Worst rates;
    Worst mismatches;
    RiskItem sum{0.0};
};

// One side of a futures: what it held of the series goes out, what it shall hold comes in.
struct FuturesSide
{
    explicit FuturesSide(Profile& profile, bool isCollateral) noexcept : side(profile), collateral(isCollateral) {}
    void Begin(std::size_t block) noexcept
    {
        values = side.Volatility().pData() + block * side.Volatility().RowsCount();
        rates = side.InterestRate().pData() + block * StressRows;
        mismatches = side.VolatilityMismatch().pData() + block * StressRows;
    }
    void TakeValue(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        values[row] = Replaced(values[row], out, in);
    }
    void TakeRate(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        rates[row] = collateral ? Replaced(rates[row], Loss(out), Loss(in)) : Replaced(rates[row], out, in);
    }
    void TakeMismatch(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        mismatches[row] = Replaced(mismatches[row], Loss(out), Loss(in));
    }
    void End(std::size_t) noexcept {}

    Profile& side;
    bool collateral;
    RiskItem* values = nullptr;
    RiskItem* rates = nullptr;
    RiskItem* mismatches = nullptr;
};

struct BothSides
{
    BothSides(Profile& volatility, Profile& expiration, bool collateral) noexcept
        : first(volatility, collateral), second(expiration, collateral)
    {}
    void Begin(std::size_t block) noexcept
    {
        first.Begin(block);
        second.Begin(block);
    }
    void TakeValue(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        first.TakeValue(row, out, in);
        second.TakeValue(row, out, in);
    }
    void TakeRate(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        first.TakeRate(row, out, in);
        second.TakeRate(row, out, in);
    }
    void TakeMismatch(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        first.TakeMismatch(row, out, in);
        second.TakeMismatch(row, out, in);
    }
    void End(std::size_t) noexcept {}

    FuturesSide first;
    FuturesSide second;
};

// Blocks of a node whose dimensions the instruments may have outgrown: only what all have is worked on.
[[nodiscard]] std::size_t CommonBlocks(const Profile& series, const OptionTransform& transform,
                                       const PriceAxis& axis) noexcept
{
    return std::min({series.Volatility().GetColsRegister(), transform.grid->GetColsRegister(), axis.Blocks()});
}

template <class Taker>
void ReplaceCells(Profile& series, const OptionTransform& before, const OptionTransform& after, Taker&& taker) noexcept
{
    const SpreadTransform out(before);
    const SpreadTransform in(after);
    const PriceAxis axis(after);
    const OptionGrid& grid = *after.grid;
    const std::size_t scenarios = series.Volatility().RowsCount();
    const std::size_t blocks = CommonBlocks(series, after, axis);
    const RiskItem mismatch[StressRows] = {RiskItem(grid.mismatchUp), RiskItem(grid.mismatchDown)};
    const RiskItem mismatchOut[StressRows] = {out.OfStress(mismatch[0]), out.OfStress(mismatch[1])};
    const RiskItem mismatchIn[StressRows] = {in.OfStress(mismatch[0]), in.OfStress(mismatch[1])};

    for (std::size_t block = 0; block < blocks; ++block) {
        taker.Begin(block);
        const RiskItem* const values = grid.Values(block);
        RiskItem* const cells = series.Volatility().pData() + block * scenarios;
        for (std::size_t i = 0; i < scenarios; ++i) {
            const RiskItem old = cells[i];
            cells[i] = Replaced(old, out.OfValue(values[i]), in.OfValue(values[i]));
            taker.TakeValue(i, old, cells[i]);
        }
        // Rates up count above the centre of the axis, rates down below it.
        const RiskItem stress = grid.RateStress(block);
        const RiskItem rate[StressRows] = {axis.RateUp(block, stress), axis.RateDown(block, stress)};
        RiskItem* const rates = series.InterestRate().pData() + block * StressRows;
        RiskItem* const mismatches = series.VolatilityMismatch().pData() + block * StressRows;
        for (std::size_t row = 0; row < StressRows; ++row) {
            const RiskItem oldRate = rates[row];
            rates[row] = Replaced(oldRate, out.OfStress(rate[row]), in.OfStress(rate[row]));
            taker.TakeRate(row, oldRate, rates[row]);
            const RiskItem oldMismatch = mismatches[row];
            mismatches[row] = Replaced(oldMismatch, mismatchOut[row], mismatchIn[row]);
            taker.TakeMismatch(row, oldMismatch, mismatches[row]);
        }
        taker.End(block);
    }
}

// The delivery prices of a series at a level, at most so many: the two ends, the centre and both sides of it.
constexpr std::size_t MostDeliveries = 2 * std::size_t{Constants::MaxDeliveryScenariosCountInOneLimit} + 3;
using DeliveryScenarios = boost::container::static_vector<DeliveryScenario, MostDeliveries>;

[[nodiscard]] DeliveryScenarios DeliveryScenariosOf(const OptionTransform& transform, std::size_t count)
{
    const CSpecVirtFutures& series = *transform.option->VirtFutures;
    const double limit = series.Futures->Limit[transform.level];
    DeliveryScenarios scenarios;
    for (const double price : series.PointsForDeliveryRisksCalculation[transform.level]) {
        if (scenarios.size() == std::min(count, MostDeliveries)) break;
        scenarios.emplace_back(*transform.option, price, limit);
    }
    return scenarios;
}

// What an option gains where it is exercised, which is the same in all its scenarios.
struct DeliveryGain
{
    explicit DeliveryGain(const DeliveryScenarios& scenarios) noexcept
    {
        for (const DeliveryScenario& scenario : scenarios)
            if (scenario.IsExercised()) exercised = &scenario;
    }
    [[nodiscard]] RiskItem At(RiskItem prices) const noexcept
    {
        return exercised != nullptr ? exercised->Gain(prices) : RiskItem(0.0);
    }

    const DeliveryScenario* exercised = nullptr;
};

// Rows of a view: the volatility scenarios, then the rate rows, then the mismatch rows.
[[nodiscard]] std::size_t RowsOfView(std::size_t scenarios) noexcept { return scenarios + 2 * StressRows; }

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

// Walks the sub-points of a series, ascending, with the real point that each is bound to.
template <class Fold>
void ForEachSubPoint(const Profile& series, std::size_t columns, Fold fold) noexcept
{
    const BindsRow* const binding = series.Volatility().Binding();
    if (binding == nullptr) return;
    const std::size_t realPoints = series.GetParameters().pointsCount;
    for (std::size_t column = realPoints; column < std::min(binding->size, columns); ++column)
        if (const std::size_t target = binding->binding[column]; target < realPoints) fold(column, target);
}

// One block of a view turned into its losses: the stresses are folded into the values, the central scenario without
// the mismatch. Zero stands first in the minimum.
void KeepLosses(RiskItem* block, std::size_t scenarios, std::size_t median) noexcept
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
        block[i] = Min(RiskItem(0.0), i == median ? stressed : Add(stressed, mismatch));
    }
}

template <class Taker>
void ReplaceView(RiskRow& given, const RiskRow& now, std::size_t scenarios, std::size_t blocks, Taker taker) noexcept
{
    const std::size_t rows = RowsOfView(scenarios);
    for (std::size_t block = 0; block < blocks; ++block) {
        RiskItem* const out = given.pData() + block * rows;
        const RiskItem* const in = now.pData() + block * rows;
        taker.Begin(block);
        for (std::size_t i = 0; i < scenarios; ++i)
            taker.TakeValue(i, out[i], in[i]);
        for (std::size_t row = 0; row < StressRows; ++row) {
            taker.TakeRate(row, out[scenarios + row], in[scenarios + row]);
            taker.TakeMismatch(row, out[scenarios + StressRows + row], in[scenarios + StressRows + row]);
        }
        std::copy_n(in, rows, out);
    }
}

} // namespace

void ReplaceOptionInCells(Profile& series, const OptionTransform& before, const OptionTransform& after) noexcept
{
    ReplaceCells(series, before, after, NoTaker{});
}

void ReplaceOptionInCells(Profile& series, const OptionTransform& before, const OptionTransform& after,
                          RiskRow& row) noexcept
{
    ReplaceCells(series, before, after, Collapse(row));
}

std::size_t LengthOfFoldScratch(const Profile& series) noexcept
{
    return std::max(LengthOfView(series),
                    series.Volatility().GetColsRegister() * CollapseColumns::Rows * RiskItem::Lanes);
}

void ReplaceOptionInCells(Profile& series, const OptionTransform& before, const OptionTransform& after,
                          RiskRow& scratch, RiskRow& row) noexcept
{
    CollapseColumns columns(scratch, series.Volatility().ColsCount());
    ReplaceCells(series, before, after, columns);
    if (columns.suspect) { // row by row
        MakeView(series, false, scratch);
        CollapseView(series, scratch, row);
        return;
    }
    constexpr std::size_t rows = CollapseColumns::Rows;
    RiskItem* const cells = scratch.pData();
    ForEachSubPoint(series, series.Volatility().ColsCount(), [&](std::size_t column, std::size_t realPoint) {
        RiskItem* const target = cells + realPoint / RiskItem::Lanes * rows;
        const RiskItem* const source = cells + column / RiskItem::Lanes * rows;
        FoldLane(target, realPoint % RiskItem::Lanes, source, column % RiskItem::Lanes, rows);
    });
    for (std::size_t block = 0; block < row.GetRegisterCount(); ++block)
        row.pData()[block] = Collapsed(cells[block * rows], cells[block * rows + 1], cells[block * rows + 2]);
}

void ReplaceOptionInSpread(Profile& series, const OptionTransform& before, const OptionTransform& after,
                           Profile& volatility, Profile* expiration, bool collateral) noexcept
{
    if (expiration != nullptr)
        ReplaceCells(series, before, after, BothSides(volatility, *expiration, collateral));
    else
        ReplaceCells(series, before, after, FuturesSide(volatility, collateral));
}

void ReplaceOptionInDeliveryRows(Profile& series, const OptionTransform& before, const OptionTransform& after,
                                 RiskRow& worst) noexcept
{
    const SpreadTransform out(before);
    const SpreadTransform in(after);
    const PriceAxis axis(after);
    RiskMatrix& outcomes = series.Expiration();
    const std::size_t rows = outcomes.RowsCount();
    const DeliveryScenarios scenarios = DeliveryScenariosOf(after, rows);
    const DeliveryGain gain(scenarios);
    const std::size_t blocks = std::min(outcomes.GetColsRegister(), axis.Blocks());
    for (std::size_t block = 0; block < blocks; ++block) {
        RiskItem* const cells = outcomes.pData() + block * rows;
        const RiskItem prices = axis.prices.pData(block);
        // Not exercised and exercised: all that a scenario adds to this is its scope.
        const RiskItem results[] = {RiskItem(0.0), gain.At(prices)};
        const RiskItem outcomesOut[] = {out.OfOutcome(results[0]), out.OfOutcome(results[1])};
        const RiskItem outcomesIn[] = {in.OfOutcome(results[0]), in.OfOutcome(results[1])};
        RiskItem worstOfBlock(LargestFinite);
        for (std::size_t row = 0; row < scenarios.size(); ++row) {
            const std::size_t exercised = scenarios[row].IsExercised() ? 1 : 0;
            const RiskItem now = Replaced(cells[row], outcomesOut[exercised], outcomesIn[exercised]);
            cells[row] = scenarios[row].InScope(now, prices);
            worstOfBlock = Min(cells[row], worstOfBlock);
        }
        worst.pData()[block] = worstOfBlock;
    }
    if (scenarios.size() != rows || blocks != worst.GetRegisterCount()) WorstOfDeliveryRows(series, worst);
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

void MakeView(const Profile& series, bool lossesOnly, RiskRow& view) noexcept
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
    if (!lossesOnly) return;
    const std::size_t median = series.Volatility().MedianLineNumber();
    for (std::size_t block = 0; block < blocks; ++block)
        KeepLosses(view.pData() + block * rows, scenarios, median);
}

void MakeDeliveryView(const Profile& series, const RiskRow& worst, bool lossesOnly, RiskRow& view) noexcept
{
    std::copy_n(worst.pData(), view.GetRegisterCount(), view.pData());
    double* const cells = CellsOf(view);
    const RiskRow& columns = worst;
    ForEachSubPoint(series, columns.size(), [&](std::size_t column, std::size_t realPoint) {
        cells[realPoint] = Min(cells[realPoint], columns[column]);
    });
    if (lossesOnly) view.BoundValuesFromAbove(0.0);
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

void ReplaceViewInFutures(RiskRow& given, const RiskRow& now, Profile& volatility, Profile* expiration,
                          bool collateral) noexcept
{
    const std::size_t scenarios = volatility.Volatility().RowsCount();
    const std::size_t blocks =
        std::min(volatility.Volatility().GetColsRegister(), now.GetRegisterCount() / RowsOfView(scenarios));
    if (expiration != nullptr)
        ReplaceView(given, now, scenarios, blocks, BothSides(volatility, *expiration, collateral));
    else
        ReplaceView(given, now, scenarios, blocks, FuturesSide(volatility, collateral));
}

// The stress rows of the delivery side are zeros, which change nothing.
void ReplaceDeliveryViewInFutures(RiskRow& given, const RiskRow& now, Profile& expiration) noexcept
{
    const std::size_t scenarios = expiration.Volatility().RowsCount();
    const std::size_t blocks = std::min(expiration.Volatility().GetColsRegister(), now.GetRegisterCount());
    for (std::size_t block = 0; block < blocks; ++block) {
        RiskItem* const cells = expiration.Volatility().pData() + block * scenarios;
        for (std::size_t i = 0; i < scenarios; ++i)
            cells[i] = Replaced(cells[i], given.pData()[block], now.pData()[block]);
        given.pData()[block] = now.pData()[block];
    }
}

SpecialRiskPoints PointsOfPosition(const OptionTransform& transform, double chargeRatio) noexcept
{
    SpecialRiskPoints points = transform.grid->points;
    points -= transform.price;
    points *= transform.scale;
    points.SetZL(points.GetZL() * transform.coverZL);
    points.SetZR(points.GetZR() * transform.coverZR);
    points.SetDownRisk(points.GetDownRisk() * chargeRatio);
    points.SetUpRisk(points.GetUpRisk() * chargeRatio);
    return points;
}

} // namespace kv7im
