// PlainMargin: the margin of a book of futures, worked out from nothing by plain loops over vectors.
//
// The slow, obvious twin of the engine: no increments, no nodes, no vector instructions, nothing shared with it but the
// input records. Every figure of the engine has to agree with it within rounding.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Enums.h"
#include "InstrumentSamples.h"

namespace plain {

struct Market
{
    std::vector<BaseContractSample> baseContracts;
    std::vector<FuturesSample> futures;
    std::map<std::int32_t, double> currencies; // id to curvature radius
    double edgeCoeff = 0.75;
};

struct Rules
{
    Enums::ClientRiskLevel level = Enums::ClientRiskLevel::Default;
    bool noFutDiscount = false;
    Enums::SpreadMarginType calendar = Enums::SpreadMarginType::Netting;
    Enums::SpreadMarginType interContract = Enums::SpreadMarginType::HalfNetting;
    double shortChargeRatio = 1.0;
    std::map<std::string, double> ratios; // base contract to multiplier of the margin
};

struct Holding
{
    std::int64_t quantity = 0;
    double price = 0.0;
};
using Book = std::map<Isin, Holding>;

/// Volatility and delivery margin, money, not rounded.
struct Margins
{
    double volatility = 0.0;
    double delivery = 0.0;
};

// Points of the stress check, in the order of the instruments' grids.
enum Point
{
    DownRisk,
    ZL,
    PnL3D,
    PnL2D,
    PnL2U,
    PnL3U,
    ZR,
    UpRisk,
    PointCount
};

/// One futures, one base contract or one group: result per column and per stress point.
struct Result
{
    explicit Result(std::size_t columns)
        : cell(columns, 0.0), rateUp(columns, 0.0), rateDown(columns, 0.0), point(PointCount, 0.0)
    {}
    std::vector<double> cell;   // every volatility scenario of a futures is alike
    std::vector<double> rateUp; // stress of the rates
    std::vector<double> rateDown;
    std::vector<double> point;
};

class Model
{
public:
    Model(const Market& market, const Rules& rules) : m_market(market), m_rules(rules) {}

    [[nodiscard]] Margins Of(const Book& book) const
    {
        std::map<std::string, Result> contracts; // base contract: its futures in spread
        Margins total;
        for (const auto& [isin, holding] : book) {
            const FuturesSample& futures = FuturesOf(isin);
            const Result position = PositionOf(futures, holding);
            if (futures.SpreadAspect == Enums::SpreadAspect::NotInSpread) {
                const double margin = Compose(position, ContractOf(futures), futures.CodeBC);
                total.volatility += margin;
                total.delivery += margin;
                continue;
            }
            const auto entry = contracts.try_emplace(futures.CodeBC, Columns(ContractOf(futures))).first;
            AddToContract(entry->second, position, futures);
        }
        AddContracts(total, contracts);
        return total;
    }

private:
    struct Rates
    {
        double base;
        double one;
        double two;
    };

    static std::size_t Columns(const BaseContractSample& contract)
    {
        return 2 * static_cast<std::size_t>(contract.RiskPointsN) + 1;
    }

    const FuturesSample& FuturesOf(Isin isin) const
    {
        return *std::find_if(m_market.futures.begin(), m_market.futures.end(),
                             [&](const FuturesSample& f) { return f.Isin == isin; });
    }
    const BaseContractSample& ContractNamed(const std::string& code) const
    {
        return *std::find_if(m_market.baseContracts.begin(), m_market.baseContracts.end(),
                             [&](const BaseContractSample& c) { return c.Code == code; });
    }
    const BaseContractSample& ContractOf(const FuturesSample& futures) const { return ContractNamed(futures.CodeBC); }

    Rates RatesOf(const BaseContractSample& c) const
    {
        switch (m_rules.level) {
        case Enums::ClientRiskLevel::Low:
            return {c.MarketRiskLow, c.MarketRisk1Low, c.MarketRisk2Low};
        case Enums::ClientRiskLevel::Medium:
            return {c.MarketRiskMedium, c.MarketRisk1Medium, c.MarketRisk2Medium};
        case Enums::ClientRiskLevel::High:
            return {c.MarketRiskHigh, c.MarketRisk1High, c.MarketRisk2High};
        case Enums::ClientRiskLevel::Exceptional:
            return {c.MarketRiskExceptional, c.MarketRisk1Exceptional, c.MarketRisk2Exceptional};
        default:
            return {c.MarketRisk, c.MarketRisk1, c.MarketRisk2};
        }
    }

    // The futures that gives a contract its shift and its limits: the nearest one, a collateral instrument before all
    // others; of equals the later one. Expired futures do not serve.
    const FuturesSample* Reference(const BaseContractSample& contract) const
    {
        const FuturesSample* reference = nullptr;
        for (const FuturesSample& f : m_market.futures) {
            if (f.CodeBC != contract.Code) continue;
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
    double Shift(const BaseContractSample& contract) const
    {
        const FuturesSample* const f = Reference(contract);
        return f == nullptr ? 0.0 : (f->CalcFutPrice - f->RealCalcPrice) / f->NormalizedSpot;
    }
    // Money value of one unit of a concentration limit.
    double LimitValue(const BaseContractSample& contract) const
    {
        if (contract.AssetClass == Enums::AssetClass::Percentage) return contract.SpotPrice;
        const FuturesSample* const f = Reference(contract);
        return f == nullptr ? 0.0 : f->MinStepPrice / (f->MinStep * f->XLot) * f->NormalizedSpot;
    }
    static bool IsCollateral(const FuturesSample& f) { return (static_cast<std::int32_t>(f.Attribute) & 8388608) != 0; }
    double Curvature(const BaseContractSample& contract) const
    {
        if (contract.MSPType != Enums::MSPType::CurrencyIndicatorPriceStep) return 0.0;
        const auto found = m_market.currencies.find(contract.CurrencyId);
        return found == m_market.currencies.end() ? 0.0 : found->second;
    }

    double UsedPrice(const FuturesSample& f, const Holding& h) const
    {
        if (!m_rules.noFutDiscount) return h.price;
        return h.quantity < 1 ? std::min(f.RealCalcPrice, h.price) : std::max(f.RealCalcPrice, h.price);
    }

    double CoverOf(double distance, double move, double marketRisk, const FuturesSample& f) const
    {
        if (f.MinStep > distance) return marketRisk * m_market.edgeCoeff;
        return std::min(move / distance, 1.0) * m_market.edgeCoeff;
    }

    Result PositionOf(const FuturesSample& f, const Holding& h) const
    {
        const BaseContractSample& contract = ContractOf(f);
        const Rates rates = RatesOf(contract);
        const bool percentage = contract.AssetClass == Enums::AssetClass::Percentage;
        const double shift = Shift(contract);
        const double spot = f.NormalizedSpot;
        const double scale = std::abs(static_cast<double>(h.quantity)) * (f.MinStepPrice / f.MinStep);
        const double sign = h.quantity < 0 ? -1.0 : 1.0;
        const double price = UsedPrice(f, h);
        const auto money = [&](double difference) { return difference * sign * scale; };

        Result result(Columns(contract));
        const double n = contract.RiskPointsN;
        for (std::size_t j = 0; j < result.cell.size(); ++j) {
            const double at = (static_cast<double>(j) - n) / n; // -1 to 1
            const double x = f.CalcFutPrice + spot * rates.base * at;
            const double u = std::abs(at);
            result.cell[j] = money(x - price);
            if (at > 0.0)
                result.rateUp[j] = money(percentage ? u * f.InterestRateRiskUp
                                                    : RateStress(f, x, u, f.InterestRateRiskUp, 1.0, f.MRAddOnUp));
            if (at < 0.0)
                result.rateDown[j] =
                    money(percentage ? -u * f.InterestRateRiskDown
                                     : RateStress(f, x, u, f.InterestRateRiskDown, -1.0, -f.MRAddOnDown));
        }

        const double down = rates.base - shift;
        const double up = rates.base + shift;
        const double left = percentage ? -100000.0 : f.RealCalcPrice - (3 - 3 * down + down * down) * down * spot;
        const double right = percentage ? 100000.0 : f.RealCalcPrice + (3 + 3 * up + up * up) * up * spot;
        const double coverLeft = percentage ? 0.0 : CoverOf(f.RealCalcPrice - left, spot * down, down, f);
        const double coverRight = percentage ? 0.0 : CoverOf(right - f.RealCalcPrice, spot * up, up, f);
        result.point[DownRisk] = money(-contract.ShortOptionMinimumCharge * spot * down) * m_rules.shortChargeRatio;
        result.point[ZL] = money(left - price) * coverLeft;
        result.point[PnL3D] = money(f.RealCalcPrice - (rates.two - shift) * spot - price);
        result.point[PnL2D] = money(f.RealCalcPrice - (rates.one - shift) * spot - price);
        result.point[PnL2U] = money(f.RealCalcPrice + (rates.one + shift) * spot - price);
        result.point[PnL3U] = money(f.RealCalcPrice + (rates.two + shift) * spot - price);
        result.point[ZR] = money(right - price) * coverRight;
        result.point[UpRisk] = money(contract.ShortOptionMinimumCharge * spot * up) * m_rules.shortChargeRatio;
        if (IsCollateral(f)) // only the losses of the rate stress
            for (std::size_t j = 0; j < result.cell.size(); ++j) {
                result.rateUp[j] = std::min(result.rateUp[j], 0.0);
                result.rateDown[j] = std::min(result.rateDown[j], 0.0);
            }
        return result;
    }

    static double RateStress(const FuturesSample& f, double x, double u, double rate, double timeSign, double addOn)
    {
        const double e = u * rate * timeSign * f.TimeToExpiration * (x < 0.0 ? -1.0 : 1.0);
        return f.NormalizedSpot * addOn * u + x * std::expm1(e);
    }

    void AddToContract(Result& contract, const Result& position, const FuturesSample& futures) const
    {
        const bool lossesOnly =
            m_rules.calendar == Enums::SpreadMarginType::HalfNetting || futures.EnforceIMSHalfNetting;
        for (std::size_t j = 0; j < contract.cell.size(); ++j) {
            const double worstRate = std::min(position.rateUp[j], position.rateDown[j]);
            if (lossesOnly) {
                contract.cell[j] += std::min(0.0, position.cell[j] + worstRate);
            } else {
                contract.cell[j] += position.cell[j];
                contract.rateUp[j] += std::min(0.0, position.rateUp[j]);
                contract.rateDown[j] += std::min(0.0, position.rateDown[j]);
            }
        }
        for (std::size_t i = 0; i < PointCount; ++i)
            contract.point[i] += lossesOnly ? std::min(0.0, position.point[i]) : position.point[i];
    }

    static std::vector<double> Collapsed(const Result& result)
    {
        std::vector<double> row(result.cell.size());
        for (std::size_t j = 0; j < row.size(); ++j)
            row[j] = result.cell[j] + std::min(result.rateUp[j], result.rateDown[j]);
        return row;
    }

    // A stress point may not be worse than the loss at the edge of the grid, worn down through the three tiers.
    std::vector<double> Corrected(const Result& result, const std::vector<double>& row,
                                  const BaseContractSample& contract) const
    {
        const Rates rates = RatesOf(contract);
        const double shift = Shift(contract);
        const double limit1 = static_cast<double>(contract.ConcentrationLimit1) * LimitValue(contract);
        const double limit2 = static_cast<double>(contract.ConcentrationLimit2) * LimitValue(contract);
        const auto floors = [&](double edge, double sign) -> std::pair<double, double> {
            if (edge == 0.0) return {0.0, 0.0};
            const double m = rates.base + sign * shift;
            const double m1 = rates.one + sign * shift;
            const double m2 = rates.two + sign * shift;
            const double exposure = std::abs(edge / m);
            const double below = std::min(exposure, limit1);
            const double between = std::max(std::min(exposure, limit2) - limit1, 0.0);
            const double above = std::max(exposure - limit2, 0.0);
            return {-below * m - (between + above) * m1, -below * m - between * m1 - above * m2};
        };
        const auto [floor2D, floor3D] = floors(row.front(), -1.0);
        const auto [floor2U, floor3U] = floors(row.back(), 1.0);
        std::vector<double> points = result.point;
        const auto lift = [&](Point p, double floor) {
            if (points[p] != 0.0) points[p] = std::max(floor, points[p]);
        };
        lift(PnL3D, floor3D);
        lift(PnL2D, floor2D);
        lift(PnL2U, floor2U);
        lift(PnL3U, floor3U);
        return points;
    }

    static void Curve(std::vector<double>& values, double curvature)
    {
        if (curvature > 0.0)
            for (double& value : values)
                value -= std::abs(value) * curvature;
    }
    static double Worst(const std::vector<double>& values) { return *std::min_element(values.begin(), values.end()); }

    double RatioOf(const std::string& code) const
    {
        const auto found = m_rules.ratios.find(code);
        return found == m_rules.ratios.end() ? 1.0 : found->second;
    }

    double Compose(const Result& result, const BaseContractSample& contract, const std::string& code) const
    {
        std::vector<double> row = Collapsed(result);
        std::vector<double> points = Corrected(result, row, contract);
        Curve(row, Curvature(contract));
        Curve(points, Curvature(contract));
        return std::abs(std::min({0.0, Worst(row), Worst(points)})) * RatioOf(code);
    }

    void AddContracts(Margins& total, const std::map<std::string, Result>& contracts) const
    {
        std::map<std::string, Result> groups;
        for (const auto& [code, result] : contracts) {
            const BaseContractSample& contract = ContractNamed(code);
            if (contract.CodeMCS.empty()) {
                const double margin = Compose(result, contract, code);
                total.volatility += margin;
                total.delivery += margin;
                continue;
            }
            const auto group = groups.try_emplace(contract.CodeMCS, Columns(contract)).first;
            AddToGroup(group->second, result, contract);
        }
        for (const auto& [code, group] : groups) {
            const double margin = std::abs(std::min(Worst(group.cell), Worst(group.point))) * GroupRatio(code);
            total.volatility += margin;
            total.delivery += margin;
        }
    }

    double GroupRatio(const std::string& codeMCS) const
    {
        double ratio = 0.0;
        for (const BaseContractSample& c : m_market.baseContracts)
            if (c.CodeMCS == codeMCS) ratio = std::max(ratio, RatioOf(c.Code));
        return ratio;
    }

    void AddToGroup(Result& group, const Result& result, const BaseContractSample& contract) const
    {
        std::vector<double> row = Collapsed(result);
        std::vector<double> points = Corrected(result, row, contract);
        Curve(row, Curvature(contract));
        Curve(points, Curvature(contract));
        if (m_rules.interContract == Enums::SpreadMarginType::Netting) {
            row = Windowed(row, contract);
            row.front() = std::min({points[PnL2D], points[PnL3D], row.front()});
            row.back() = std::min({points[PnL2U], points[PnL3U], row.back()});
            const double leftTail = std::min({points[ZL], points[DownRisk], 0.0});
            const double rightTail = std::min({points[ZR], points[UpRisk], 0.0});
            points.assign(PointCount, 0.0);
            points[ZL] = leftTail;
            points[ZR] = rightTail;
        } else {
            for (double& value : row)
                value = std::min(value, 0.0);
            for (double& value : points)
                value = std::min(value, 0.0);
        }
        for (std::size_t j = 0; j < row.size(); ++j)
            group.cell[j] += row[j];
        for (std::size_t i = 0; i < points.size(); ++i)
            group.point[i] += points[i];
    }

    static std::vector<double> Windowed(const std::vector<double>& row, const BaseContractSample& contract)
    {
        const auto window =
            static_cast<std::ptrdiff_t>(std::floor(contract.RiskPointsN * contract.WindowSizePercentage + 0.5));
        const auto size = static_cast<std::ptrdiff_t>(row.size());
        std::vector<double> windowed(row);
        for (std::ptrdiff_t i = 0; i < size; ++i)
            for (std::ptrdiff_t k = std::max<std::ptrdiff_t>(i - window, 0); k <= std::min(i + window, size - 1); ++k)
                windowed[static_cast<std::size_t>(i)] =
                    std::min(windowed[static_cast<std::size_t>(i)], row[static_cast<std::size_t>(k)]);
        return windowed;
    }

    const Market& m_market;
    const Rules& m_rules;
};

} // namespace plain
