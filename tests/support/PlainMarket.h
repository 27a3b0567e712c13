// PlainMarket: a market as plain records, and what the margin model reads off it: rates, references, price axes.
//
// Nothing here knows the engine; parameters are taken as offered, so that a market must be one that no check corrects.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Enums.h"
#include "InstrumentSamples.h"
#include "PlainOption.h"
#include "instruments/OptionSeriesParameters.h"

namespace plain {

struct Market
{
    std::vector<BaseContractSample> baseContracts;
    std::vector<FuturesSample> futures;
    std::map<std::int32_t, double> currencies; // id to curvature radius
    double edgeCoeff = 0.75;
    std::vector<kv7im::OptionSeriesParameters> series = {};
    std::vector<OptionSample> options = {};
    std::vector<MultilegSample> multilegs = {};
};

/// Rows of figures over columns. An instrument's columns are prices, ascending.
using Table = std::vector<std::vector<double>>;

/// Columns of an option series at a risk level: the prices of its futures, then prices close to the strikes.
struct Axis
{
    std::vector<double> prices;
    std::vector<std::size_t> real;      // per column the nearest column of the futures
    std::vector<double> deliveryPrices; // ascending, empty for a series without deliveries
};

inline bool IsCollateral(const FuturesSample& f) { return (static_cast<std::int32_t>(f.Attribute) & 8388608) != 0; }
/// Trades at the settlement price of another futures: its prices are offsets.
inline bool TradesAtSettlement(const FuturesSample& f)
{
    return (static_cast<std::int32_t>(f.Attribute) & 1048576) != 0;
}

/// A market seen at one risk level.
class MarketView
{
public:
    MarketView(const Market& market, Enums::ClientRiskLevel level) : m_market(market), m_level(level) {}

    struct Rates
    {
        double base; // below the first concentration limit
        double one;  // between the two
        double two;  // above the second
    };

    [[nodiscard]] const Market& Records() const { return m_market; }
    [[nodiscard]] const FuturesSample* FindFutures(Isin isin) const
    {
        return Find(m_market.futures, [&](const FuturesSample& f) { return f.Isin == isin; });
    }
    [[nodiscard]] const OptionSample* FindOption(Isin isin) const
    {
        return Find(m_market.options, [&](const OptionSample& o) { return o.Isin == isin; });
    }
    [[nodiscard]] const MultilegSample* FindMultileg(Isin isin) const
    {
        return Find(m_market.multilegs, [&](const MultilegSample& m) { return m.Isin == isin; });
    }
    [[nodiscard]] const kv7im::OptionSeriesParameters& SeriesNamed(const std::string& code) const
    {
        return *Find(m_market.series, [&](const auto& s) { return s.Code == code; });
    }
    [[nodiscard]] const FuturesSample& FuturesOf(const kv7im::OptionSeriesParameters& series) const
    {
        return *Find(m_market.futures, [&](const FuturesSample& f) { return f.Code == series.CodeRF; });
    }
    [[nodiscard]] const BaseContractSample& ContractNamed(const std::string& code) const
    {
        return *Find(m_market.baseContracts, [&](const BaseContractSample& c) { return c.Code == code; });
    }
    [[nodiscard]] const BaseContractSample& ContractOf(const FuturesSample& f) const { return ContractNamed(f.CodeBC); }

    [[nodiscard]] static std::size_t Columns(const BaseContractSample& contract)
    {
        return 2 * static_cast<std::size_t>(contract.RiskPointsN) + 1;
    }
    [[nodiscard]] static std::size_t Scenarios(const BaseContractSample& contract)
    {
        return static_cast<std::size_t>(contract.VolatNum);
    }

    [[nodiscard]] Rates RatesOf(const BaseContractSample& c) const
    {
        return {c.MarketRisk[m_level], c.MarketRisk1[m_level], c.MarketRisk2[m_level]};
    }

    /// By how much the risk centre stands off the settlement price, as a rate; upward rates grow by it.
    [[nodiscard]] double Shift(const BaseContractSample& contract) const
    {
        const FuturesSample* const f = Reference(Tracked(contract));
        return f == nullptr ? 0.0 : (f->CalcFutPrice - f->RealCalcPrice) / f->NormalizedSpot;
    }
    /// The two concentration limits, money.
    [[nodiscard]] std::pair<double, double> Limits(const BaseContractSample& contract) const
    {
        const BaseContractSample& tracked = Tracked(contract);
        const double value = LimitValue(tracked);
        return {static_cast<double>(tracked.ConcentrationLimit1) * value,
                static_cast<double>(tracked.ConcentrationLimit2) * value};
    }
    /// Radius of the currency that the contract is priced through.
    [[nodiscard]] double Curvature(const BaseContractSample& contract) const
    {
        if (contract.MSPType != Enums::MSPType::CurrencyIndicatorPriceStep) return 0.0;
        const auto found = m_market.currencies.find(contract.CurrencyId);
        return found == m_market.currencies.end() ? 0.0 : found->second;
    }

    // One futures.

    /// The price that it was settled at; a contract that trades at settlement has that of the futures it tracks.
    [[nodiscard]] double Settlement(const FuturesSample& f) const
    {
        const FuturesSample* const tracked = TradesAtSettlement(f) ? FindFutures(f.TASBaseFutIsinID) : nullptr;
        return tracked == nullptr ? f.RealCalcPrice : tracked->RealCalcPrice;
    }
    [[nodiscard]] double PriceAt(const FuturesSample& f, std::size_t column) const
    {
        const BaseContractSample& contract = ContractOf(f);
        const double n = contract.RiskPointsN;
        return f.CalcFutPrice + f.NormalizedSpot * RatesOf(contract).base * (static_cast<double>(column) - n) / n;
    }

    /// Prices of the stress check: the two ends far out, and two steps on either side of the settlement price.
    struct StressPrices
    {
        double left, down3, down2, up2, up3, right;
        double coverLeft, coverRight; // shares at which the two ends count
        double moveDown, moveUp;      // rates of the level, shifted
    };
    [[nodiscard]] StressPrices StressOf(const FuturesSample& f) const
    {
        const BaseContractSample& contract = ContractOf(f);
        const Rates rates = RatesOf(contract);
        const double spot = f.NormalizedSpot;
        const double settlement = Settlement(f);
        const double shift = Shift(contract);
        const double down = rates.base - shift;
        const double up = rates.base + shift;
        StressPrices s{settlement - (3 - 3 * down + down * down) * down * spot,
                       settlement - (rates.two - shift) * spot,
                       settlement - (rates.one - shift) * spot,
                       settlement + (rates.one + shift) * spot,
                       settlement + (rates.two + shift) * spot,
                       settlement + (3 + 3 * up + up * up) * up * spot,
                       0.0,
                       0.0,
                       down,
                       up};
        if (contract.AssetClass == Enums::AssetClass::Percentage) {
            s.left = -100000.0;
            s.right = 100000.0;
            return s;
        }
        s.coverLeft = CoverOf(settlement - s.left, spot * down, down, f);
        s.coverRight = CoverOf(s.right - settlement, spot * up, up, f);
        return s;
    }

    // One option series.

    /// Half the move of the level: the scope of one delivery price on either side.
    [[nodiscard]] double DeliveryScope(const FuturesSample& f) const
    {
        return RatesOf(ContractOf(f)).base * f.NormalizedSpot * 0.5;
    }
    [[nodiscard]] static bool HasDeliveries(const kv7im::OptionSeriesParameters& s)
    {
        return s.settlementType == Enums::SettlementType::Deliverable &&
               (s.ExpClearingsSA > 0 || s.ExpClearingsBF > 0 || s.ExpClearingsCC > 0);
    }
    [[nodiscard]] Axis AxisOf(const kv7im::OptionSeriesParameters& s) const
    {
        const FuturesSample& f = FuturesOf(s);
        Axis axis;
        for (std::size_t j = 0; j < Columns(ContractOf(f)); ++j) {
            axis.prices.push_back(PriceAt(f, j));
            axis.real.push_back(j);
        }
        if (s.SubRisk) AddSubPoints(axis, s, f);
        if (HasDeliveries(s)) axis.deliveryPrices = DeliveryPrices(s, f);
        return axis;
    }

private:
    template <class Records, class Condition>
    static auto Find(const Records& records, Condition condition) -> const typename Records::value_type*
    {
        const auto found = std::find_if(records.begin(), records.end(), condition);
        return found == records.end() ? nullptr : &*found;
    }

    // A contract of futures that trade at settlement has the limits and the shift of the contract that they track.
    [[nodiscard]] const BaseContractSample& Tracked(const BaseContractSample& contract) const
    {
        for (const FuturesSample& f : m_market.futures)
            if (f.CodeBC == contract.Code && TradesAtSettlement(f)) return ContractOf(*FindFutures(f.TASBaseFutIsinID));
        return contract;
    }
    // Money value of one unit of a concentration limit.
    [[nodiscard]] double LimitValue(const BaseContractSample& contract) const
    {
        if (contract.AssetClass == Enums::AssetClass::Percentage) return contract.SpotPrice;
        const FuturesSample* const f = Reference(contract);
        return f == nullptr ? 0.0 : f->MinStepPrice / (f->MinStep * f->XLot) * f->NormalizedSpot;
    }
    // The futures that gives a contract its shift and its limits: the nearest one, a collateral instrument before all
    // others; of equals the later one. Expired futures do not serve, nor do those that trade at settlement.
    [[nodiscard]] const FuturesSample* Reference(const BaseContractSample& contract) const
    {
        const FuturesSample* reference = nullptr;
        for (const FuturesSample& f : m_market.futures) {
            if (f.CodeBC != contract.Code || TradesAtSettlement(f)) continue;
            const bool collateral = IsCollateral(f);
            if (!collateral && !(f.TimeToExpiration > 1e-5)) continue;
            if (reference != nullptr) {
                if (f.TimeToExpiration - reference->TimeToExpiration > 0.001) continue;
                if (!collateral && IsCollateral(*reference)) continue;
            }
            reference = &f;
        }
        return reference;
    }

    [[nodiscard]] double CoverOf(double distance, double move, double rate, const FuturesSample& f) const
    {
        if (f.MinStep > distance) return rate * m_market.edgeCoeff;
        return std::min(move / distance, 1.0) * m_market.edgeCoeff;
    }

    // Multiples of a step made from the strikes, as far as the grid of the futures reaches. More than 200 are thinned
    // out once by a whole multiple of the step, which may leave one too many.
    void AddSubPoints(Axis& axis, const kv7im::OptionSeriesParameters& s, const FuturesSample& f) const
    {
        const double reach = f.NormalizedSpot * RatesOf(ContractOf(f)).base;
        double step = std::max(s.StrikeStep / s.LotCoeff, f.MinStep);
        const auto first = [&] { return std::ceil((f.CalcFutPrice - reach) / step); };
        const auto last = [&] { return std::floor((reach + f.CalcFutPrice) / step); };
        if (last() + 1.0 - first() > 200.0) step *= std::ceil((reach + reach) / (step * 200.0));

        const std::size_t realColumns = axis.prices.size();
        for (double k = first(); k <= last(); ++k) {
            const double price = k * step;
            std::size_t nearest = 0;
            while (nearest + 1 < realColumns &&
                   std::abs(axis.prices[nearest + 1] - price) < std::abs(axis.prices[nearest] - price))
                ++nearest;
            axis.prices.push_back(price);
            axis.real.push_back(nearest);
        }
    }

    // Every strike step within the scope, both ends and the centre; at most 24 steps a side.
    [[nodiscard]] std::vector<double> DeliveryPrices(const kv7im::OptionSeriesParameters& s,
                                                     const FuturesSample& f) const
    {
        const double centre = f.CalcFutPrice;
        const double scope = DeliveryScope(f);
        const bool tooMany = !(scope / s.StrikeStep < 25.0);
        const double step = tooMany ? scope / 24.0 : s.StrikeStep;
        const int count = tooMany ? 24 : static_cast<int>(scope / s.StrikeStep);
        std::set<double> prices{centre - scope, centre, centre + scope};
        for (int i = 1; i <= count; ++i) {
            prices.insert(centre + i * step);
            prices.insert(centre - i * step);
        }
        return {prices.begin(), prices.end()};
    }

    const Market& m_market;
    Enums::ClientRiskLevel m_level;
};

} // namespace plain
