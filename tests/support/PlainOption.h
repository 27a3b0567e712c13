// PlainOption: the theoretical values of one option, by the formulas as they stand.
//
// Every cell is worked out from the parameters alone: nothing is hoisted, nothing is shared between cells, nothing is
// vectorised. The engine's figures have to be the bits of these where it works cell by cell, and within a stated bound
// of them where it works by columns.
#pragma once

#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <vector>

#include "Enums.h"
#include "InstrumentSamples.h"
#include "grids/Constants.h"
#include "instruments/OptionSeriesParameters.h"

namespace plain {

/// Values of an option over the columns of its series at one risk level, prices.
struct OptionValues
{
    std::vector<std::vector<double>> volatility; // scenario, column
    std::vector<double> rateUp;
    std::vector<double> rateDown;
    double mismatchUp = 0.0; // the same at every column
    double mismatchDown = 0.0;
};

class OptionPricer
{
public:
    enum class Kind
    {
        Stock,
        CurrencyOrIndex,
        Commodity,
        Futures,
    };

    OptionPricer(BaseContractSample contract, FuturesSample futures, kv7im::OptionSeriesParameters series,
                 double strike, bool put)
        : bc(std::move(contract)), f(std::move(futures)), s(std::move(series)), Strike(strike), isPut(put)
    {}

    // The series.

    [[nodiscard]] Kind SeriesKind() const
    {
        const bool collateral = (static_cast<std::int32_t>(f.Attribute) & 8388608) != 0;
        if (s.marginStyle != Enums::MarginStyle::Equity) return Kind::Futures;
        if (!collateral) return Kind::Commodity;
        switch (bc.AssetClass) {
        case Enums::AssetClass::Stock:
        case Enums::AssetClass::Commodity:
        case Enums::AssetClass::Metal:
            return Kind::Stock;
        case Enums::AssetClass::Currency:
        case Enums::AssetClass::Index:
            return Kind::CurrencyOrIndex;
        default:
            return Kind::Futures;
        }
    }
    [[nodiscard]] double MakeDiscountPoint(double x) const
    {
        switch (SeriesKind()) {
        case Kind::Stock:
            return (x - s.FixedSpotDiscount - s.ProjectedSpotDiscount) * s.LotCoeff;
        case Kind::CurrencyOrIndex:
        case Kind::Commodity:
            return x * s.LotCoeff;
        default:
            return x;
        }
    }
    [[nodiscard]] double MakeCorrectStrikeByType(double k) const
    {
        return SeriesKind() == Kind::Futures ? k : k * std::exp(-s.R * s.TimeToExpiration);
    }
    [[nodiscard]] double GetUsableR() const { return SeriesKind() == Kind::Futures ? 0.0 : s.R; }
    [[nodiscard]] double GetUsableR2() const
    {
        const Kind kind = SeriesKind();
        return kind == Kind::CurrencyOrIndex || kind == Kind::Commodity ? s.R2 : 0.0;
    }

    // The value of one cell.

    [[nodiscard]] static double N(double d)
    {
        if (d > 10.0) return 1.0;
        if (d < -10.0) return 0.0;
        const double t = 1.0 / (std::abs(d) * 0.2316419 + 1.0);
        const double p = std::exp(-d * d * 0.5) * 0.3989423;
        const double q = ((((t * 1.330274 - 1.821256) * t + 1.781478) * t - 0.3565638) * t + 0.3193815) * (p * t);
        return d > 0.0 ? 1.0 - q : q;
    }

    /// Volatility of a scenario; mismatch multiplies it.
    [[nodiscard]] double Sigma(std::size_t scenario, std::optional<double> mismatch) const
    {
        const bool black = bc.OptionModel == Enums::OptionModel::BlackScholes;
        const double smile = black ? BlackSmile(BlackMoneyness()) : BachelierSmile(BachelierMoneyness());
        const double atm = black ? BlackSmile(0.0 / Sq() - s.S / Sq()) : BachelierSmile(0.0 / Sq() - s.S_Bach / Sq());
        const double i = static_cast<double>(scenario);
        const double mult = (2.0 * i / (bc.VolatNum - 1.0) - 1.0) * s.VolatilityRisk + 1.0;
        const double shift = (mult * mult - 1.0) * atm * atm;
        double extra = 0.0;
        if (mismatch) extra = (*mismatch * *mismatch - 1.0) * (atm * atm + shift);
        const double variance = smile * smile + shift + extra;
        const double least = black ? 0.0001 : s.MinStep * s.MinStep;
        return std::sqrt(least > variance ? least : variance); // a variance that is no number stays none
    }

    [[nodiscard]] double CalculatePoint(std::size_t scenario, double futuresPoint, double r, double r2, double strike,
                                        std::optional<double> mismatch) const
    {
        const double Fd = futuresPoint * std::exp(-r2 * s.TimeToExpiration);
        const bool null = scenario == 0 && s.UseNullVolat;
        const double sigma = Sigma(scenario, mismatch);

        if (bc.OptionModel == Enums::OptionModel::BlackScholes) {
            if (null || !(f.RealCalcPrice > 0.0) || !(Strike > 0.0) || futuresPoint < s.MinStep)
                return Intrinsic(Fd, strike);
            const double d1 =
                ((sigma * sigma * 0.5 + (r - r2)) * Sq() * Sq() + std::log(futuresPoint / Strike)) / (sigma * Sq());
            const double d2 = d1 - sigma * Sq();
            const double call = Fd * N(d1) - strike * N(d2);
            return isPut ? call + strike - Fd : call;
        }

        const double w = sigma * Sq();
        const double d = (futuresPoint - Strike) / w;
        if (SeriesKind() == Kind::Commodity) {
            if (null) return Intrinsic(Fd, strike);
            const double call = (0.3989423 * std::exp(-d * d * 0.5) * w + (futuresPoint - Strike) * N(d)) *
                                std::exp(-r * s.TimeToExpiration);
            return isPut ? call + strike - Fd : call;
        }
        if (null) return Intrinsic(futuresPoint, Strike);
        const double call = 0.3989423 * std::exp(-d * d * 0.5) * w + (futuresPoint - Strike) * N(d);
        return isPut ? call + Strike - futuresPoint : call;
    }

    /// The value at a price of the futures, at the rates as they stand.
    [[nodiscard]] double Value(std::size_t scenario, double price, std::optional<double> mismatch = std::nullopt) const
    {
        return CalculatePoint(scenario, MakeDiscountPoint(price), GetUsableR(), GetUsableR2(),
                              MakeCorrectStrikeByType(Strike), mismatch);
    }
    /// The value at a special point of the futures' profile: at the scenario of the unshifted volatility.
    [[nodiscard]] double AtPoint(double price) const
    {
        const auto rows = static_cast<std::size_t>(bc.VolatNum);
        return Value(rows % 2 == 0 ? rows / 2 - 1 : rows / 2, price);
    }

    // The rows of a profile.

    /// Effect of the rate stress at price P, where j is the real price point of the column.
    [[nodiscard]] double InterestRate(bool up, double P, std::size_t j) const
    {
        const double n = bc.RiskPointsN;
        const double a = std::abs(static_cast<double>(j) - n) / n;
        const double v = 1.0 - s.VolatilityRiskMismatch;
        const double ud = up ? f.MRAddOnUp : -f.MRAddOnDown;
        const double Tf = up ? f.TimeToExpiration : -f.TimeToExpiration;
        const double Rf = up ? f.InterestRateRiskUp : f.InterestRateRiskDown;
        const double sign = P < 0.0 ? -1.0 : 1.0;
        const double T = s.TimeToExpiration;

        double r = 0.0;
        double r2 = 0.0;
        if (SeriesKind() != Kind::Futures)
            r = up ? GetUsableR() + a * s.InterestRateRiskUp : GetUsableR() - a * s.InterestRateRiskDown;
        double point = 0.0;
        double strike = std::exp(-r * T) * Strike;
        double unstressed = 0.0;
        switch (SeriesKind()) {
        case Kind::Futures:
            point = std::exp(sign * Tf * a * Rf) * P + ud * f.NormalizedSpot * a;
            strike = Strike;
            unstressed = CalculatePoint(0, P, 0.0, 0.0, Strike, v);
            break;
        case Kind::Stock: {
            const double cf = up ? 1.0 - bc.CFRisk * a : a * bc.CFRisk + 1.0;
            point = (ud * f.NormalizedSpot * a + P - s.FixedSpotDiscount - cf * s.ProjectedSpotDiscount) * s.LotCoeff;
            unstressed = CalculatePoint(0, MakeDiscountPoint(P), GetUsableR(), 0.0, MakeCorrectStrikeByType(Strike), v);
            break;
        }
        case Kind::CurrencyOrIndex:
            point = s.LotCoeff * (ud * f.NormalizedSpot * a + P);
            r2 = up ? GetUsableR2() - a * s.InterestRate2RiskDown : GetUsableR2() + a * s.InterestRate2RiskUp;
            unstressed = CalculatePoint(0, MakeDiscountPoint(P), GetUsableR(), GetUsableR2(),
                                        MakeCorrectStrikeByType(Strike), v);
            break;
        case Kind::Commodity: // the first rate twice, stressed and unstressed
            point = (P * std::exp(sign * Tf * a * Rf) + ud * f.NormalizedSpot * a) * s.LotCoeff;
            r2 = r;
            unstressed =
                CalculatePoint(0, MakeDiscountPoint(P), GetUsableR(), GetUsableR(), MakeCorrectStrikeByType(Strike), v);
            break;
        }
        return CalculatePoint(0, point, r, r2, strike, v) - unstressed;
    }

    /// All values over the prices of the series' columns; real[c] is the real price point of column c.
    [[nodiscard]] OptionValues Over(const std::vector<double>& prices, const std::vector<std::size_t>& real) const
    {
        const auto scenarios = static_cast<std::size_t>(bc.VolatNum);
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const double Up = 1.0 + s.VolatilityRiskMismatch;
        const double Dn = 1.0 - s.VolatilityRiskMismatch;
        OptionValues values{std::vector<std::vector<double>>(scenarios), {}, {}, nan, nan};
        for (std::size_t c = 0; c < prices.size(); ++c) {
            const double P = prices[c];
            for (std::size_t i = 0; i < scenarios; ++i)
                values.volatility[i].push_back(Value(i, P));
            values.rateUp.push_back(P > f.CalcFutPrice ? InterestRate(true, P, real[c]) : 0.0);
            values.rateDown.push_back(P < f.CalcFutPrice ? InterestRate(false, P, real[c]) : 0.0);
            // A NaN on either side leaves the new value.
            const double u = Value(scenarios - 1, P, Up) - values.volatility[scenarios - 1][c];
            const double d = Value(0, P, Dn) - values.volatility[0][c];
            values.mismatchUp = values.mismatchUp < u ? values.mismatchUp : u;
            values.mismatchDown = values.mismatchDown > d ? values.mismatchDown : d;
        }
        if (std::isnan(values.mismatchUp)) values.mismatchUp = 0.0;
        if (std::isnan(values.mismatchDown)) values.mismatchDown = 0.0;
        return values;
    }
    /// The same without sub-points.
    [[nodiscard]] OptionValues Over(const std::vector<double>& prices) const
    {
        std::vector<std::size_t> real(prices.size());
        for (std::size_t c = 0; c < real.size(); ++c)
            real[c] = c;
        return Over(prices, real);
    }

    /// Gain at price p when the option ends at the delivery price Ps; NaN where p is not part of that scenario. limit
    /// is the Limit of the futures at the level.
    [[nodiscard]] double AtDelivery(double Ps, double limit, double p) const
    {
        const auto round = [](double x) { return std::floor(x * 100000.0 + 0.5) / 100000.0; };
        const double epsilon = 1.0000000000000003e-05;
        const double minimum = round(Ps - limit);
        const double maximum = round(Ps + limit);
        if (!(p >= minimum - epsilon && maximum + epsilon >= p)) return std::numeric_limits<double>::quiet_NaN();
        if (isPut) return Strike > Ps ? Strike - p : 0.0;
        return Ps > Strike ? p - Strike : 0.0;
    }

    /// DownRisk of a put or UpRisk of a call; marketRisk is the rate MarketRiskDown or MarketRiskUp of the level.
    [[nodiscard]] double ShortSellingValue(double marketRisk) const
    {
        return std::abs(f.NormalizedSpot) * bc.ShortOptionMinimumCharge * marketRisk * s.LotCoeff;
    }

    /// Money of one price unit.
    [[nodiscard]] double MoneyCoef() const { return s.MinStepPrice / s.MinStep; }

private:
    [[nodiscard]] double Sq() const
    {
        const double sqrtT = std::sqrt(s.TimeToExpiration);
        return sqrtT > 0.007555 ? sqrtT : 0.007555;
    }
    [[nodiscard]] double Fc() const { return MakeDiscountPoint(f.RealCalcPrice); }
    [[nodiscard]] double BlackMoneyness() const { return std::log(Strike / Fc()) / Sq() - s.S / Sq(); }
    [[nodiscard]] double BlackSmile(double m) const
    {
        if (s.C > 0.0) return ((1.0 - std::exp(-s.C * m * m)) * s.B + s.A + std::atan(m * s.E) * s.D / s.E) * 0.01;
        return (std::atan(m * s.E) * s.D / s.E + s.A) * 0.01;
    }
    [[nodiscard]] double BachelierMoneyness() const { return (Strike - Fc()) / (s.M_Bach * Sq()) - s.S_Bach / Sq(); }
    [[nodiscard]] double BachelierSmile(double m) const
    {
        if (s.C_Bach > 0.0)
            return ((1.0 - std::exp(-s.C_Bach * m * m)) * s.B_Bach + s.A_Bach +
                    std::atan(m * s.E_Bach) * s.D_Bach / s.E_Bach) *
                   s.M_Bach;
        return (std::atan(m * s.E_Bach) * s.D_Bach / s.E_Bach + s.A_Bach) * s.M_Bach;
    }
    [[nodiscard]] double Intrinsic(double price, double strike) const
    {
        if (isPut) return strike > price ? strike - price : 0.0;
        return price > strike ? price - strike : 0.0;
    }

    BaseContractSample bc;
    FuturesSample f;
    kv7im::OptionSeriesParameters s;
    double Strike;
    bool isPut;
};

} // namespace plain
