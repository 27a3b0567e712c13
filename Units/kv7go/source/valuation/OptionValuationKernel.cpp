// Four columns of an option at once, in the vectors of the library Highway and with its logarithm.
//
// What is saved against the valuation of single cells:
//   - one logarithm a column, for all volatilities;
//   - one exponential a cell: by d1^2 - d2^2 = 2 (ln(F/K) + (r - r2) T), the density at d2 is that at d1 times
//     F/K exp((r - r2) T), which does not depend on the volatility;
//   - one division a cell for the two reciprocals of the distribution's polynomial;
//   - all of that for the put of a strike whose call was valued just before, and the other way round: a put is the call
//     of its strike and two additions.
//
// Accuracy against single cells, as a share of the larger of price and strike (Bachelier: or of the volatility's
// width): at most 4e-15; measured 1.2e-15 over sixty million cells of random markets. A rate stress or a mismatch, each
// a difference of two values: at most 8e-15, measured 1.5e-15. The operations up to d1 and d2 are those of a single
// cell in the same order, but for the logarithm, which may differ in its last bits. So the two forms fall on different
// sides of d = 0, where the distribution's polynomial leaves a step of 3.0e-7, only where d lies within those bits of 0
// and the price is not the strike. Intrinsic values have the same bits.
#include "valuation/OptionValuationKernel.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <vector>

#include <hwy/contrib/math/math-inl.h>
#include <hwy/highway.h>

namespace kv7im {

namespace {

namespace hn = hwy::HWY_NAMESPACE;
static_assert(HWY_STATIC_TARGET == HWY_AVX2, "the target that the engine is built for");

using Tag = hn::FixedTag<double, RiskItem::Lanes>;
using Lanes = hn::Vec<Tag>;
constexpr Tag tag;

HWY_INLINE Lanes Of(double value) { return hn::Set(tag, value); }
HWY_INLINE Lanes Of(const RiskItem& item) { return hn::Load(tag, reinterpret_cast<const double*>(&item)); }
HWY_INLINE RiskItem ItemOf(Lanes lanes) { return lanes.raw; }

// Squares, products and quotients of two numbers between these stay ordinary numbers.
constexpr double Small = 1e-100;
constexpr double Large = 1e100;

/// Where four columns are valued.
struct LanePoint
{
    Lanes futuresPoint;
    Lanes discounted;
    Lanes carry;
    Lanes growth;
    Lanes strike;
    Lanes discount;
};

// --- The distribution -----------------------------------------------------------------------------------------------

/// e^r for |r| at most half of ln 2, by the exponential series; what follows the last term is below 1.8e-16.
HWY_INLINE Lanes SeriesOfExp(Lanes r)
{
    const auto pair = [&](double low, double high) { return hn::MulAdd(Of(1.0 / high), r, Of(1.0 / low)); };
    const Lanes r2 = hn::Mul(r, r);
    const Lanes r4 = hn::Mul(r2, r2);
    const Lanes r8 = hn::Mul(r4, r4);
    const Lanes from2 = hn::MulAdd(pair(24.0, 120.0), r2, pair(2.0, 6.0));                   // 1/2! + r/3! + ...
    const Lanes from6 = hn::MulAdd(pair(40320.0, 362880.0), r2, pair(720.0, 5040.0));        // 1/6! + r/7! + ...
    const Lanes from10 = hn::MulAdd(Of(1.0 / 479001600.0), r2, pair(3628800.0, 39916800.0)); // 1/10! + r/11! + r^2/12!
    const Lanes sum = hn::MulAdd(from10, r8, hn::MulAdd(from6, r4, from2));
    return hn::Add(hn::MulAdd(sum, r2, r), Of(1.0));
}

// The density of the standard normal distribution, in two steps. Of all exponentials it needs those of numbers below 0
// only, and none of a number so small that the result loses its leading bit: that takes half the steps of an
// exponential for any number.

/// What a density is the exponential of: a power of two, in the lowest bits of `shifted`, and the rest.
struct Exponent
{
    Lanes shifted;
    Lanes rest; // at most half of ln 2
};

/// First step: the exponent of the density at d.
HWY_INLINE Exponent ExponentOf(Lanes d)
{
    constexpr double Smallest = -600.0;          // a density of 1e-261 is as good as 0
    constexpr double Integers = 0x1.8p52;        // doubles of this size are whole numbers
    constexpr double Ln2 = 0.693147180559945309; // to the next double
    constexpr double Ln2Rest = 2.3190468138462996e-17;

    const Lanes x = hn::Max(hn::Mul(hn::Mul(d, d), Of(-0.5)), Of(Smallest));
    const Lanes shifted = hn::MulAdd(x, Of(1.0 / Ln2), Of(Integers));
    const Lanes power = hn::Sub(shifted, Of(Integers));
    return {shifted, hn::NegMulAdd(power, Of(Ln2Rest), hn::NegMulAdd(power, Of(Ln2), x))};
}

/// Second step: the density.
HWY_INLINE Lanes Density(const Exponent& exponent)
{
    const hn::Rebind<std::int64_t, Tag> whole;
    const auto scale = hn::ShiftLeft<52>(hn::BitCast(whole, exponent.shifted));
    const Lanes exponential = hn::BitCast(tag, hn::Add(hn::BitCast(whole, SeriesOfExp(exponent.rest)), scale));
    return hn::Mul(exponential, Of(points::normal::Density));
}

/// Denominator of the polynomial's argument: t is 1 over it.
HWY_INLINE Lanes Reciprocal(Lanes d) { return hn::MulAdd(hn::Abs(d), Of(points::normal::Slope), Of(1.0)); }

/// Distribution at d. Beyond the cutoff above it is 1 as it stands, since the tail is below the last bit; beyond the
/// one below it is a number too small to matter, and whoever adds it up sees to the 0.
HWY_INLINE Lanes Distribution(Lanes d, Lanes density, Lanes t)
{
    using namespace points::normal;
    Lanes sum = hn::MulSub(t, Of(K5), Of(K4));
    sum = hn::MulAdd(sum, t, Of(K3));
    sum = hn::MulSub(sum, t, Of(K2));
    sum = hn::MulAdd(sum, t, Of(K1));
    const Lanes tail = hn::Mul(sum, hn::Mul(density, t));
    return hn::IfThenElse(hn::Gt(d, hn::Zero(tag)), hn::Sub(Of(1.0), tail), tail);
}

HWY_INLINE hn::Mask<Tag> IsBelowCutoff(Lanes d) { return hn::Lt(d, Of(-points::normal::Cutoff)); }

// --- The models -----------------------------------------------------------------------------------------------------
// A model stands for four columns at one point of the market and holds what all volatilities share. The value of a call
// is made in three steps, D, Density and Call, so that each can be taken for several columns and all volatilities
// before the next: the processor then always has independent work at hand.

class BlackScholesLanes
{
public:
    // The density at d2 has the relative error of that at d1, d1^2 units of the last place; a volatility that parts the
    // two by more than this would show it.
    static constexpr double LargestWidth = 4.0;

    static bool IsOrdinary(const points::OptionTerms& terms)
    {
        return terms.priceable && terms.strike >= Small && terms.minStep > 0.0;
    }
    static HWY_INLINE Lanes PriceOf(const LanePoint& at) { return at.discounted; }
    static HWY_INLINE Lanes StrikeOf(const points::OptionTerms&, const LanePoint& at) { return at.strike; }

    BlackScholesLanes() = default; // to be assigned
    HWY_INLINE BlackScholesLanes(const points::OptionTerms& terms, const LanePoint& at)
        : sqrtTime(Of(terms.sqrtTime)), discounted(at.discounted), strike(at.strike), carry(at.carry)
    {
        const Lanes moneyness = hn::Div(at.futuresPoint, Of(terms.strike));
        logarithm = hn::Log(tag, moneyness);
        densityRatio = hn::Mul(moneyness, at.growth);
    }

    [[nodiscard]] HWY_INLINE Lanes D(const points::ScenarioVolatility& volatility) const
    {
        const Lanes drift = hn::Mul(hn::Mul(hn::Add(Of(volatility.halfVariance), carry), sqrtTime), sqrtTime);
        return hn::Div(hn::Add(drift, logarithm), Of(volatility.width));
    }
    /// First step of a call's value where the carry, and so the drift, is that of all columns.
    [[nodiscard]] HWY_INLINE Lanes D(const points::ScenarioVolatility& volatility, double drift) const
    {
        return hn::Div(hn::Add(Of(drift), logarithm), Of(volatility.width));
    }

    [[nodiscard]] HWY_INLINE Lanes Call(const points::ScenarioVolatility& volatility, Lanes d1, Lanes density) const
    {
        const Lanes d2 = hn::Sub(d1, Of(volatility.width));
        const Lanes u1 = Reciprocal(d1);
        const Lanes u2 = Reciprocal(d2);
        const Lanes both = hn::Div(Of(1.0), hn::Mul(u1, u2));
        const Lanes n1 = Distribution(d1, density, hn::Mul(both, u2));
        const Lanes n2 = Distribution(d2, hn::Mul(density, densityRatio), hn::Mul(both, u1));
        const Lanes call = hn::Sub(hn::Mul(discounted, n1), hn::Mul(strike, n2));
        return hn::IfThenZeroElse(IsBelowCutoff(d1), call); // d2 is below d1
    }

private:
    Lanes sqrtTime;
    Lanes discounted;
    Lanes strike;
    Lanes carry;
    Lanes logarithm;
    Lanes densityRatio; // density at d2 over that at d1
};

/// Bachelier model, with the outcome discounted or not.
template <bool Discounted>
class BachelierLanes
{
public:
    static constexpr double LargestWidth = Large;

    static bool IsOrdinary(const points::OptionTerms&) { return true; }
    static HWY_INLINE Lanes PriceOf(const LanePoint& at) { return Discounted ? at.discounted : at.futuresPoint; }
    static HWY_INLINE Lanes StrikeOf(const points::OptionTerms& terms, const LanePoint& at)
    {
        return Discounted ? at.strike : Of(terms.strike);
    }

    BachelierLanes() = default; // to be assigned
    HWY_INLINE BachelierLanes(const points::OptionTerms& terms, const LanePoint& at)
        : discount(at.discount), distance(hn::Sub(at.futuresPoint, Of(terms.strike)))
    {}

    [[nodiscard]] HWY_INLINE Lanes D(const points::ScenarioVolatility& volatility) const
    {
        return hn::Div(distance, Of(volatility.width));
    }
    [[nodiscard]] HWY_INLINE Lanes D(const points::ScenarioVolatility& volatility, double) const
    {
        return D(volatility);
    }

    [[nodiscard]] HWY_INLINE Lanes Call(const points::ScenarioVolatility& volatility, Lanes d, Lanes density) const
    {
        const Lanes t = hn::Div(Of(1.0), Reciprocal(d));
        const Lanes n = hn::IfThenZeroElse(IsBelowCutoff(d), Distribution(d, density, t));
        const Lanes call = hn::Add(hn::Mul(density, Of(volatility.width)), hn::Mul(distance, n));
        return Discounted ? hn::Mul(call, discount) : call;
    }

private:
    Lanes discount;
    Lanes distance;
};

template <class Calculator>
struct ModelOf;
template <>
struct ModelOf<points::BlackScholesCalculator>
{
    using Type = BlackScholesLanes;
};
template <>
struct ModelOf<points::BachelierCalculator>
{
    using Type = BachelierLanes<false>;
};
template <>
struct ModelOf<points::BachelierCalculatorForCommodity>
{
    using Type = BachelierLanes<true>;
};

/// Makes the value of the option from the value of the call.
template <class Model>
class Finish
{
public:
    HWY_INLINE Finish(const points::OptionTerms& terms, const LanePoint& at)
        : put(terms.put),
          price(Model::PriceOf(at)),
          strike(Model::StrikeOf(terms, at)),
          belowStep(hn::Lt(at.futuresPoint, Of(terms.minStep)))
    {
        const Lanes gain = put ? hn::Sub(strike, price) : hn::Sub(price, strike);
        intrinsic = hn::IfThenZeroElse(hn::Le(gain, hn::Zero(tag)), gain); // NaN, as in padding, stays NaN
    }

    [[nodiscard]] HWY_INLINE RiskItem Value(const points::ScenarioVolatility& volatility, const RiskItem& call) const
    {
        if (volatility.intrinsic) return ItemOf(intrinsic);
        const Lanes value = put ? hn::Sub(hn::Add(Of(call), strike), price) : Of(call);
        if constexpr (std::is_same_v<Model, BlackScholesLanes>)
            return ItemOf(hn::IfThenElse(belowStep, intrinsic, value));
        else
            return ItemOf(value);
    }

private:
    bool put;
    Lanes price;
    Lanes strike;
    hn::Mask<Tag> belowStep;
    Lanes intrinsic;
};

// --- The calls of one strike ----------------------------------------------------------------------------------------

/// The first steps of one valuation of four columns.
struct Step
{
    RiskItem d;
    RiskItem shifted; // of the density's exponent
    RiskItem rest;
    RiskItem density;
};

/// Values of the calls of a strike over all blocks of a series' columns, before intrinsic values are looked at.
struct CallTable
{
    std::uint64_t columns = 0; // number of the columns, 0 for none
    double strike = 0.0;
    double corrected = 0.0;
    std::vector<points::ScenarioVolatility> volatilities;
    std::vector<RiskItem> calls; // block by block: one for each volatility, then those of the rate stress

    std::vector<Step> steps; // room to work in
    std::vector<double> drifts;
};

/// RiskItems that a table may keep from one option to the next: a megabyte.
constexpr std::size_t MostKept = (std::size_t{1} << 20) / sizeof(RiskItem);

/// The calls that have been worked out last at some columns. What stands there is what would be worked out again, so a
/// call and the put of its strike share one valuation, and no value depends on whether they do. A thread that finds
/// them in use, which is one that does not take its turn, works in a table of its own.
class LastCalls
{
public:
    LastCalls() noexcept : m_hasThem(!inUse.test_and_set(std::memory_order_acquire)) {}
    LastCalls(const LastCalls&) = delete;
    LastCalls& operator=(const LastCalls&) = delete;
    ~LastCalls()
    {
        if (m_hasThem) inUse.clear(std::memory_order_release);
    }
    [[nodiscard]] CallTable& At(const OptionColumns& columns) noexcept
    {
        return m_hasThem ? tables[columns.Number() % Slots] : m_own;
    }

private:
    static constexpr std::size_t Slots = 8; // the columns of a series' five levels follow one another
    static constinit std::atomic_flag inUse;
    static std::array<CallTable, Slots> tables;

    bool m_hasThem;
    CallTable m_own;
};

constinit std::atomic_flag LastCalls::inUse;
std::array<CallTable, LastCalls::Slots> LastCalls::tables;

template <class Model>
class Kernel
{
public:
    Kernel(const OptionColumns& columns_, const points::OptionTerms& terms_, double strike_,
           const OptionVolatilities& volatilities_)
        : columns(columns_),
          terms(terms_),
          strike(strike_),
          volatilities(volatilities_.All()),
          scenarios(volatilities_.ScenariosCount()),
          callsPerBlock(volatilities.size() + (columns.UnstressedIsTheGrid() ? 1 : 2))
    {}

    [[nodiscard]] bool IsOrdinary() const
    {
        return columns.AreOrdinary() && std::abs(terms.strike) <= Large && std::abs(strike) <= Large &&
               Model::IsOrdinary(terms) && std::all_of(volatilities.begin(), volatilities.end(), HasOrdinaryWidth);
    }

    void Fill(OptionGrid& grid) const
    {
        LastCalls lastCalls;
        CallTable& table = lastCalls.At(columns);
        if (!IsOfThisStrike(table)) ValueCalls(table);

        // Padding lanes are NaN and stand first in these: a NaN candidate never wins. There is no NaN in a column.
        RiskItem up(std::numeric_limits<double>::infinity());
        RiskItem down(-std::numeric_limits<double>::infinity());
        for (std::size_t block = 0; block < columns.GetColsRegister(); ++block)
            FinishBlock(block, table.calls.data() + block * callsPerBlock, grid, up, down);
        grid.mismatchUp = operation::_::FoldLanes(up, operation::_::min<double>{});
        grid.mismatchDown = operation::_::FoldLanes(down, operation::_::max<double>{});
        if (table.calls.size() > MostKept) table = CallTable(); // what is out of the ordinary is not kept
    }

private:
    /// Neighbouring blocks that take each step together.
    static constexpr std::size_t BatchSize = 4;
    struct Batch
    {
        std::size_t first; // block
        std::size_t count;
        std::array<Model, BatchSize> grid;
        std::array<Model, BatchSize> stressed;
        std::array<Model, BatchSize> unstressed; // where it differs from the grid
    };

    [[nodiscard]] static bool HasOrdinaryWidth(const points::ScenarioVolatility& volatility)
    {
        return volatility.width >= Small && volatility.width <= Model::LargestWidth; // not NaN
    }

    [[nodiscard]] bool IsOfThisStrike(const CallTable& table) const
    {
        return table.columns == columns.Number() && table.strike == terms.strike && table.corrected == strike &&
               std::equal(table.volatilities.begin(), table.volatilities.end(), volatilities.begin(),
                          volatilities.end());
    }

    void ValueCalls(CallTable& table) const
    {
        table.columns = 0; // until it is whole
        table.calls.resize(columns.GetColsRegister() * callsPerBlock);
        table.volatilities.assign(volatilities.begin(), volatilities.end());
        table.strike = terms.strike;
        table.corrected = strike;

        table.steps.resize(callsPerBlock * BatchSize);
        Step* const steps = table.steps.data();
        table.drifts.clear();
        for (const points::ScenarioVolatility& volatility : volatilities)
            table.drifts.push_back((volatility.halfVariance + columns.Carry()) * terms.sqrtTime * terms.sqrtTime);
        const std::size_t blocks = columns.GetColsRegister();
        for (std::size_t block = 0; block < blocks; block += BatchSize) {
            const Batch batch = BatchOf(block, std::min(BatchSize, blocks - block));
            StepD(batch, table.drifts.data(), steps);
            // The density takes two loops: each chain of operations is then short enough for the processor to have
            // several of them in sight.
            for (std::size_t i = 0; i < batch.count * callsPerBlock; ++i) {
                const Exponent exponent = ExponentOf(Of(steps[i].d));
                steps[i].shifted = ItemOf(exponent.shifted);
                steps[i].rest = ItemOf(exponent.rest);
            }
            for (std::size_t i = 0; i < batch.count * callsPerBlock; ++i)
                steps[i].density = ItemOf(Density({Of(steps[i].shifted), Of(steps[i].rest)}));
            StepCall(batch, steps, table.calls.data() + block * callsPerBlock);
        }
        table.columns = columns.Number();
    }

    [[nodiscard]] HWY_INLINE Batch BatchOf(std::size_t first, std::size_t count) const
    {
        Batch batch;
        batch.first = first;
        batch.count = count;
        for (std::size_t b = 0; b < count; ++b) {
            batch.grid[b] = Model(terms, GridPoint(first + b));
            batch.stressed[b] = Model(terms, StressedPoint(first + b));
            if (!columns.UnstressedIsTheGrid()) batch.unstressed[b] = Model(terms, UnstressedPoint(first + b));
        }
        return batch;
    }

    /// First step of every valuation of a batch: all volatilities at the grid's point, then the lowest one, that of the
    /// down mismatch, at the stressed point and, where it differs from the grid's, at the unstressed one.
    HWY_INLINE void StepD(const Batch& batch, const double* drifts, Step* steps) const
    {
        const std::size_t count = volatilities.size();
        const points::ScenarioVolatility& lowest = volatilities.back();
        for (std::size_t b = 0; b < batch.count; ++b, steps += callsPerBlock) {
            for (std::size_t i = 0; i < count; ++i)
                steps[i].d = ItemOf(batch.grid[b].D(volatilities[i], drifts[i]));
            steps[count].d = ItemOf(batch.stressed[b].D(lowest));
            if (!columns.UnstressedIsTheGrid()) steps[count + 1].d = ItemOf(batch.unstressed[b].D(lowest));
        }
    }

    HWY_INLINE void StepCall(const Batch& batch, const Step* steps, RiskItem* calls) const
    {
        const auto call = [&](const Model& model, const points::ScenarioVolatility& volatility, std::size_t i) {
            calls[i] = ItemOf(model.Call(volatility, Of(steps[i].d), Of(steps[i].density)));
        };
        const std::size_t count = volatilities.size();
        for (std::size_t b = 0; b < batch.count; ++b, steps += callsPerBlock, calls += callsPerBlock) {
            for (std::size_t i = 0; i < count; ++i)
                call(batch.grid[b], volatilities[i], i);
            call(batch.stressed[b], volatilities.back(), count);
            if (!columns.UnstressedIsTheGrid()) call(batch.unstressed[b], volatilities.back(), count + 1);
        }
    }

    HWY_INLINE void FinishBlock(std::size_t block, const RiskItem* calls, OptionGrid& grid, RiskItem& up,
                                RiskItem& down) const
    {
        const Finish<Model> finish(terms, GridPoint(block));
        const std::size_t count = volatilities.size();
        RiskItem* const values = grid.Values(block);
        for (std::size_t i = 0; i < scenarios; ++i)
            values[i] = finish.Value(volatilities[i], calls[i]);
        up = Min(Sub(finish.Value(volatilities[scenarios], calls[scenarios]), values[scenarios - 1]), up);
        const points::ScenarioVolatility& mismatchDown = volatilities.back();
        const RiskItem lowest = finish.Value(mismatchDown, calls[count - 1]);
        down = Max(Sub(lowest, values[0]), down);

        const RiskItem stressed = Finish<Model>(terms, StressedPoint(block)).Value(mismatchDown, calls[count]);
        const RiskItem unstressed =
            columns.UnstressedIsTheGrid()
                ? lowest
                : Finish<Model>(terms, UnstressedPoint(block)).Value(mismatchDown, calls[count + 1]);
        grid.RateStress(block) = ItemOf(hn::And(Of(Sub(stressed, unstressed)), Of(columns[block].rateCounts)));
    }

    [[nodiscard]] HWY_INLINE LanePoint GridPoint(std::size_t block) const
    {
        const OptionColumns::Block& column = columns[block];
        return {.futuresPoint = Of(column.point),
                .discounted = Of(column.discounted),
                .carry = Of(columns.Carry()),
                .growth = Of(columns.Growth()),
                .strike = Of(strike),
                .discount = Of(columns.Discount())};
    }

    [[nodiscard]] HWY_INLINE LanePoint StressedPoint(std::size_t block) const
    {
        const OptionColumns::Block& column = columns[block];
        const Lanes factor = Of(column.stressedStrikeFactor);
        return {.futuresPoint = Of(column.stressedPoint),
                .discounted = Of(column.stressedDiscounted),
                .carry = Of(column.stressedCarry),
                .growth = Of(column.stressedGrowth),
                .strike = hn::Mul(factor, Of(terms.strike)),
                .discount = factor};
    }

    /// The unstressed point: a commodity's first rate stands for both rates, so there is no carry.
    [[nodiscard]] HWY_INLINE LanePoint UnstressedPoint(std::size_t block) const
    {
        return {.futuresPoint = Of(columns[block].point),
                .discounted = Of(columns.UnstressedDiscounted(block)),
                .carry = hn::Zero(tag),
                .growth = Of(1.0),
                .strike = Of(strike),
                .discount = Of(columns.Discount())};
    }

    const OptionColumns& columns;
    const points::OptionTerms& terms;
    double strike; // corrected
    std::span<const points::ScenarioVolatility> volatilities;
    std::size_t scenarios;
    std::size_t callsPerBlock;
};

} // namespace

template <class Calculator>
bool ValueColumnsAtOnce(const OptionColumns& columns, const points::OptionTerms& terms, double strike,
                        const OptionVolatilities& volatilities, OptionGrid& grid)
{
    const Kernel<typename ModelOf<Calculator>::Type> kernel(columns, terms, strike, volatilities);
    if (!kernel.IsOrdinary()) return false;
    kernel.Fill(grid);
    return true;
}

static_assert(Enums::OptionModels.size() == 2, "each calculator has its vector form");
template bool ValueColumnsAtOnce<points::BlackScholesCalculator>(const OptionColumns&, const points::OptionTerms&,
                                                                 double, const OptionVolatilities&, OptionGrid&);
template bool ValueColumnsAtOnce<points::BachelierCalculator>(const OptionColumns&, const points::OptionTerms&, double,
                                                              const OptionVolatilities&, OptionGrid&);
template bool ValueColumnsAtOnce<points::BachelierCalculatorForCommodity>(const OptionColumns&,
                                                                          const points::OptionTerms&, double,
                                                                          const OptionVolatilities&, OptionGrid&);

} // namespace kv7im
