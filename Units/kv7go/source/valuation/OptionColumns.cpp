#include "valuation/OptionColumns.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "grids/Constants.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecVirtFutures.h"
#include "valuation/InterestRateRiskCalculator.h"

namespace kv7im {

namespace {

const double AllBits = std::bit_cast<double>(~std::uint64_t{0}); // a lane mask that is set
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

// Numbers between these can be multiplied and divided by each other without leaving the range of a double.
constexpr double Small = 1e-100;
constexpr double Large = 1e100;

bool IsModerate(double value) noexcept { return std::abs(value) <= Large; } // not NaN
bool IsModerateFactor(double value) noexcept { return value >= Small && value <= Large; }
bool IsModeratePrice(double value) noexcept { return IsModerate(value) && !(value > 0.0 && value < Small); }

OptionColumns::Block EmptyBlock() noexcept
{
    return {.point = NaN,
            .discounted = NaN,
            .stressedPoint = NaN,
            .stressedDiscounted = NaN,
            .stressedCarry = NaN,
            .stressedGrowth = NaN,
            .stressedStrikeFactor = NaN,
            .rateCounts = AllBits}; // keeps the stress NaN in a lane without a column
}

std::uint64_t NextNumber() noexcept
{
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

/// The exponential, remembered: most series ask for that of one number at all columns.
class RememberedExp
{
public:
    [[nodiscard]] double operator()(double x) noexcept
    {
        if (!(x == argument)) value = std::exp(argument = x);
        return value;
    }

private:
    double argument = 0.0;
    double value = 1.0;
};

double SquaredRootOfTime(const CSpecVirtFutures& series, double factor) noexcept
{
    const double sq = Max(series.SqrtT, Constants::MinimumSqrtTValue);
    return factor * sq * sq;
}

} // namespace

struct OptionColumns::Exponentials
{
    RememberedExp discount;
    RememberedExp stressedDiscount;
    RememberedExp stressedGrowth;
};

OptionColumns::OptionColumns(const CSpecVirtFutures& series, Enums::ClientRiskLevel level)
    : number(NextNumber()),
      cols(static_cast<std::size_t>(series.GetTotalPointsNum(level))),
      carry(series.GetUsableR() - series.GetUsableR2()),
      growth(std::exp(SquaredRootOfTime(series, carry))),
      discount(std::exp(-series.GetUsableR() * series.TimeToExpiration)),
      rateCalculator(&GetInterestRateRiskCalculator(series)),
      blocks(RegistersOf(cols), EmptyBlock())
{
    if (cols == 0) return;
    const PricingInputs unstressed = rateCalculator->Unstressed(0, series, level);
    if (unstressed.r2 != series.GetUsableR2()) unstressedDiscounted.assign(blocks.size(), NaN);
    Exponentials exp;
    for (std::size_t column = 0; column < cols; ++column) {
        SetColumn(series, level, column, exp);
        SetRateStress(series, level, column, exp);
    }
    ordinary = Ordinary();
}

void OptionColumns::SetColumn(const CSpecVirtFutures& series, Enums::ClientRiskLevel level, std::size_t column,
                              Exponentials& exp)
{
    Block& block = blocks[column / RiskItem::Lanes];
    const std::size_t lane = column % RiskItem::Lanes;
    const double point = series.GetCorrectedFuturesPoint(column, level);
    block.point[lane] = point;
    block.discounted[lane] = point * exp.discount(-series.GetUsableR2() * series.TimeToExpiration);
    if (unstressedDiscounted.empty()) return;
    const PricingInputs inputs = rateCalculator->Unstressed(column, series, level);
    unstressedDiscounted[column / RiskItem::Lanes][lane] =
        inputs.futuresPoint * exp.discount(-inputs.r2 * series.TimeToExpiration);
}

void OptionColumns::SetRateStress(const CSpecVirtFutures& series, Enums::ClientRiskLevel level, std::size_t column,
                                  Exponentials& exp)
{
    const double price = series.GetVolatilityMatrixCentralRow(level)[column];
    const double centre = series.Futures->CalcFutPrice;
    const InterestRateRow row = price > centre ? InterestRateRow::Up : InterestRateRow::Down;
    const PricingInputs inputs = rateCalculator->Stressed(column, row, series, level);

    Block& block = blocks[column / RiskItem::Lanes];
    const std::size_t lane = column % RiskItem::Lanes;
    block.stressedPoint[lane] = inputs.futuresPoint;
    block.stressedDiscounted[lane] = inputs.futuresPoint * exp.stressedDiscount(-inputs.r2 * series.TimeToExpiration);
    block.stressedCarry[lane] = inputs.r - inputs.r2;
    block.stressedGrowth[lane] = exp.stressedGrowth(SquaredRootOfTime(series, inputs.r - inputs.r2));
    block.stressedStrikeFactor[lane] = inputs.strikeFactor;
    block.rateCounts[lane] = price > centre || price < centre ? AllBits : 0.0;
}

bool OptionColumns::Ordinary() const noexcept
{
    const auto lanes = [](const RiskItem& item, std::size_t count, auto isOrdinary) {
        for (std::size_t lane = 0; lane < count; ++lane)
            if (!isOrdinary(item[lane])) return false;
        return true;
    };
    for (std::size_t b = 0; b < blocks.size(); ++b) {
        const Block& block = blocks[b];
        const std::size_t count = std::min(RiskItem::Lanes, cols - b * RiskItem::Lanes);
        if (!lanes(block.point, count, IsModeratePrice) || !lanes(block.discounted, count, IsModerate) ||
            !lanes(block.stressedPoint, count, IsModeratePrice) ||
            !lanes(block.stressedDiscounted, count, IsModerate) || !lanes(block.stressedCarry, count, IsModerate) ||
            !lanes(block.stressedGrowth, count, IsModerateFactor) ||
            !lanes(block.stressedStrikeFactor, count, IsModerateFactor))
            return false;
        if (!unstressedDiscounted.empty() && !lanes(unstressedDiscounted[b], count, IsModerate)) return false;
    }
    return IsModerate(carry) && IsModerateFactor(growth) && IsModerateFactor(discount);
}

} // namespace kv7im
