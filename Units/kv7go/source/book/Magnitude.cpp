// How large what goes through a book is. The cells of a book are kept by increments, so they remember: what was no
// number stays none when it is taken out, and what was large enough has taken the cents of the rest with it.
#include <algorithm>
#include <cmath>
#include <limits>

#include "WrappingArithmetic.h"
#include "book/Portfolio.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace kv7im {

namespace {

double Contracts(std::int64_t quantity) noexcept { return std::fabs(static_cast<double>(quantity)); }

// The grid and the stress points of a futures lie within its price and its spot.
double ReachOf(const CSpecFutures& futures) noexcept
{
    return std::fabs(futures.CalcFutPrice) + std::fabs(futures.NormalizedSpot);
}

} // namespace

// A position ---------------------------------------------------------------------------------------------------------

double CSpecPositionFutures::MagnitudeOfContract(double price) const noexcept
{
    return (std::fabs(price) + ReachOf(m_futures)) * m_futures.MoneyCoef;
}

double CSpecPositionOptionsBase::MagnitudeOfContract(double price) const noexcept
{
    const CSpecVirtFutures& series = *m_options.VirtFutures;
    const double reach = ReachOf(*series.Futures) + std::fabs(m_options.Strike);
    return (std::fabs(price) + reach) * series.MoneyCoef;
}

// No contracts at a price that is no number are no number either: so the cells have it.
double CSpecPosition::MagnitudeOf(std::int64_t quantity, double price, std::int64_t novQuantity) const noexcept
{
    return std::max(Contracts(quantity), Contracts(novQuantity)) * MagnitudeOfContract(price);
}

double CSpecPosition::MagnitudeOfOrderChanges() const noexcept
{
    double sum = 0.0;
    for (const auto& [key, change] : m_deltaOrders)
        sum += Contracts(change.deltaQuantity) * MagnitudeOfContract(key.calculatedPrice.AsDouble());
    return sum;
}

double CSpecPosition::MagnitudeOfOrders() const noexcept
{
    double sum = 0.0;
    for (const auto& [key, open] : m_orders) { // each change has its entry among them
        const auto change = m_deltaOrders.find(key);
        const std::int64_t quantity = change == m_deltaOrders.end()
                                          ? open.deltaQuantity
                                          : kv7base::WrappingAdd(open.deltaQuantity, change->second.deltaQuantity);
        sum += Contracts(quantity) * MagnitudeOfContract(key.calculatedPrice.AsDouble());
    }
    return sum;
}

double CSpecPosition::MagnitudeOfPosition() const noexcept
{
    return MagnitudeOf(m_state.quantity, m_state.WAPrice, 0) + std::fabs(m_state.NOVi);
}

// A book -------------------------------------------------------------------------------------------------------------

void Portfolio::RememberMagnitude(double magnitude) noexcept
{
    // What is no number counts as larger than every number.
    if (!(magnitude <= m_largestMagnitude))
        m_largestMagnitude = std::isnan(magnitude) ? std::numeric_limits<double>::infinity() : magnitude;
}

bool Portfolio::IsSpoiltFor(double rest) const noexcept
{
    // A fresh book rounds its own figures too, by the same share of what it holds.
    constexpr double TimesAFreshBook = 1000.0;
    return std::isfinite(rest) && m_largestMagnitude > TimesAFreshBook * rest;
}

double Portfolio::MagnitudeOfHoldings(const CSpecPosition* changing) const noexcept
{
    double sum = 0.0;
    const auto add = [&](const CSpecPosition& position) {
        sum += position.MagnitudeOfOrders();
        if (&position != changing) sum += position.MagnitudeOfPosition();
    };
    for (const auto& [isin, position] : positions) {
        add(position.GetFuturesPositionSpec());
        for (const auto& [optionIsin, option] : position.RangeOptions())
            add(*option);
    }
    return sum;
}

} // namespace kv7im
