// SameModel: whether two repositories hold the same instruments, bit by bit.
//
// Compared are the parameters that a change can reach, and all that is computed: rates, shifts and limits of the base
// contracts, every cell of every profile at every level, grids, bindings, special points, cover factors, groups, and
// the spread property of multilegs. What a first use would value is valued by the comparison.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Enums.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace same_model {

/// One side of a comparison.
struct View
{
    const kv7im::InstrumentsRepository& repository;
    kv7im::AccessByStatus access = kv7im::AccessByStatus::eCurrent;
};

/// Collects what differs, by name.
class Comparison
{
public:
    [[nodiscard]] const std::vector<std::string>& Differences() const noexcept { return m_differences; }

    void BaseContracts(const kv7im::CSpecBaseContract& a, const kv7im::CSpecBaseContract& b)
    {
        const In in(*this, "contract " + a.Code);
        Values("ConcentrationLimit1", a.ConcentrationLimit1, b.ConcentrationLimit1);
        Values("ConcentrationLimit2", a.ConcentrationLimit2, b.ConcentrationLimit2);
        Values("ConcentrationLimit1Spot", a.ConcentrationLimit1Spot, b.ConcentrationLimit1Spot);
        Values("ConcentrationLimit2Spot", a.ConcentrationLimit2Spot, b.ConcentrationLimit2Spot);
        Values("ShiftCoefficient", a.ShiftCoefficient, b.ShiftCoefficient);
        Values("time of the shift", a.currentMinimalTimeValueForShiftCoefficientRecalc,
               b.currentMinimalTimeValueForShiftCoefficientRecalc);
        Values("isin of the shift", a.currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin,
               b.currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin);
        Values("collateral flag of the shift",
               a.currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsCollateral,
               b.currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsCollateral);
        Values("time of the limits", a.currentMinimalTimeValueForConcentrationLimitRecalc,
               b.currentMinimalTimeValueForConcentrationLimitRecalc);
        Values("isin of the limits", a.currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsin,
               b.currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsin);
        Values("collateral flag of the limits",
               a.currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsCollateral,
               b.currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsCollateral);
        Values("SpotPrice", a.SpotPrice, b.SpotPrice);
        Values("CFRisk", a.CFRisk, b.CFRisk);
        Values("optionModel", static_cast<int>(a.optionModel), static_cast<int>(b.optionModel));
        Values("assetClass", static_cast<int>(a.assetClass), static_cast<int>(b.assetClass));
        Values("TASBaseContractCode", a.TASBaseContractCode, b.TASBaseContractCode);
        using Contract = kv7im::CSpecBaseContract;
        for (const auto rates : {&Contract::MarketRisk, &Contract::MarketRisk1, &Contract::MarketRisk2,
                                 &Contract::MarketRiskUp, &Contract::MarketRisk1Up, &Contract::MarketRisk2Up,
                                 &Contract::MarketRiskDown, &Contract::MarketRisk1Down, &Contract::MarketRisk2Down})
            Levels("rates", a.*rates, b.*rates);
    }

    void Futures(const kv7im::CSpecFutures& a, const kv7im::CSpecFutures& b)
    {
        const In in(*this, "futures " + a.Code);
        using kv7im::CSpecFutures;
        for (const auto field : {&CSpecFutures::CalcFutPrice, &CSpecFutures::RealCalcPrice, &CSpecFutures::MinStepPrice,
                                 &CSpecFutures::InterestRateRiskUp, &CSpecFutures::InterestRateRiskDown,
                                 &CSpecFutures::TimeToExpiration, &CSpecFutures::NormalizedSpot,
                                 &CSpecFutures::MRAddOnUp, &CSpecFutures::MRAddOnDown, &CSpecFutures::MoneyCoef})
            Values("parameter", a.*field, b.*field);
        Values("IsInSpread", a.IsInSpread, b.IsInSpread);
        Values("EnforceIMSHalfNetting", a.EnforceIMSHalfNetting, b.EnforceIMSHalfNetting);
        Levels("Limit", a.Limit, b.Limit);
        Levels("coverZL", a.coverZL, b.coverZL);
        Levels("coverZR", a.coverZR, b.coverZR);
        for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
            Profiles(a.GetProfile(level), b.GetProfile(level));
    }

    void Series(const kv7im::CSpecVirtFutures& a, const kv7im::CSpecVirtFutures& b)
    {
        const In in(*this, "series " + a.Code);
        using Series = kv7im::CSpecVirtFutures;
        for (const auto field : {&Series::A,
                                 &Series::B,
                                 &Series::C,
                                 &Series::D,
                                 &Series::E,
                                 &Series::S,
                                 &Series::A_Bach,
                                 &Series::B_Bach,
                                 &Series::C_Bach,
                                 &Series::D_Bach,
                                 &Series::E_Bach,
                                 &Series::S_Bach,
                                 &Series::M_Bach,
                                 &Series::SqrtT,
                                 &Series::VolatilityRisk,
                                 &Series::StrikeStep,
                                 &Series::R,
                                 &Series::VolatilityRiskMismatch,
                                 &Series::MoneyCoef,
                                 &Series::R2,
                                 &Series::TimeToExpiration,
                                 &Series::MinStepPrice,
                                 &Series::InterestRateRiskUp,
                                 &Series::InterestRateRiskDown,
                                 &Series::ProjectedSpotDiscount,
                                 &Series::InterestRate2RiskUp,
                                 &Series::InterestRate2RiskDown})
            Values("parameter", a.*field, b.*field);
        Values("UseNullVolat", a.UseNullVolat, b.UseNullVolat);
        Values("ExpClearingsSA", a.ExpClearingsSA, b.ExpClearingsSA);
        Values("ExpClearingsBF", a.ExpClearingsBF, b.ExpClearingsBF);
        Values("ExpClearingsCC", a.ExpClearingsCC, b.ExpClearingsCC);
        Values("IsInSpread", a.IsInSpread, b.IsInSpread);
        Values("EnforceHalfNetting", a.EnforceHalfNetting, b.EnforceHalfNetting);
        Values("deliveries", a.WeHaveToPrecalcDeliveryRisks(), b.WeHaveToPrecalcDeliveryRisks());
        Levels("AdjustedSubRiskStep", a.AdjustedSubRiskStep, b.AdjustedSubRiskStep);
        for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
            Values("subPointRange", a.subPointRange[level], b.subPointRange[level]);
            Values("binding", Bound(a.bindingArray[level]), Bound(b.bindingArray[level]));
            Matrices("grid", a.volatilityMatrix[level], b.volatilityMatrix[level]);
            // A series that has stopped to look at deliveries keeps the prices that it had; nobody reads them.
            if (a.WeHaveToPrecalcDeliveryRisks())
                Values("delivery prices", a.PointsForDeliveryRisksCalculation[level],
                       b.PointsForDeliveryRisksCalculation[level]);
        }
    }

    void Options(const kv7im::CSpecOption& a, const kv7im::CSpecOption& b)
    {
        const In in(*this, "option " + a.Code);
        Values("CalcOptPrice", a.CalcOptPrice, b.CalcOptPrice);
        Values("Strike", a.Strike, b.Strike);
        for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
            Profiles(a.GetProfile(level), b.GetProfile(level));
            Values("own binding", BindsItsOwn(a, level), BindsItsOwn(b, level));
        }
    }

    void Profiles(const kv7im::Profile& a, const kv7im::Profile& b)
    {
        Matrices("volatility", a.Volatility(), b.Volatility());
        Matrices("interest rate", a.InterestRate(), b.InterestRate());
        Matrices("mismatch", a.VolatilityMismatch(), b.VolatilityMismatch());
        Matrices("expiration", a.Expiration(), b.Expiration());
        for (std::size_t i = 0; i < kv7im::SpecialRiskPoints::MappingSize; ++i)
            Values("special point", a.GetSpecialRiskPoints().pData()[i], b.GetSpecialRiskPoints().pData()[i]);
    }

    template <class T>
    void Values(const char* name, const T& a, const T& b)
    {
        if (!Same(a, b)) m_differences.push_back(m_where + ": " + name + Numbers(a, b));
    }

private:
    /// Where a comparison stands while this lives.
    struct In
    {
        In(Comparison& owner, const std::string& where) : comparison(owner) { comparison.m_where = where; }
        ~In() { comparison.m_where.clear(); }
        In(const In&) = delete;
        In& operator=(const In&) = delete;
        Comparison& comparison;
    };

    template <class T>
    static bool Same(const T& a, const T& b)
    {
        return a == b;
    }
    static bool Same(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }
    template <class T>
    static std::string Numbers(const T& /*a*/, const T& /*b*/)
    {
        return {};
    }
    static std::string Numbers(double a, double b) { return " " + std::to_string(a) + " and " + std::to_string(b); }

    template <class T>
    void Levels(const char* name, const kv7im::RiskLevelIndexedArray<T>& a, const kv7im::RiskLevelIndexedArray<T>& b)
    {
        for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
            Values(name, a[level], b[level]);
    }

    void Matrices(const char* name, const kv7im::RiskMatrix& a, const kv7im::RiskMatrix& b)
    {
        Values("rows", a.RowsCount(), b.RowsCount());
        Values("columns", a.ColsCount(), b.ColsCount());
        if (a.RowsCount() != b.RowsCount() || a.ColsCount() != b.ColsCount()) return;
        for (std::size_t row = 0; row < a.RowsCount(); ++row)
            for (std::size_t column = 0; column < a.ColsCount(); ++column)
                Values(name, static_cast<double>(a[row][column]), static_cast<double>(b[row][column]));
    }

    static std::vector<std::size_t> Bound(const kv7im::BindsRow& binding)
    {
        return {binding.binding.begin(), binding.binding.begin() + static_cast<std::ptrdiff_t>(binding.size)};
    }
    static bool BindsItsOwn(const kv7im::CSpecOption& option, Enums::ClientRiskLevel level)
    {
        const kv7im::BindsRow* const binding = option.GetProfile(level).Volatility().Binding();
        return binding == nullptr || binding == &option.VirtFutures->GetBindingArray(level);
    }

    std::vector<std::string> m_differences;
    std::string m_where;
};

/// The futures of a group, by isin.
template <class Range>
std::set<Isin> IsinsOf(const Range& nodes)
{
    std::set<Isin> isins;
    for (const kv7im::FuturesNode& node : nodes)
        isins.insert(node.GetIsin());
    return isins;
}

/// Members of every inter-month and inter-contract group, as the indices have them; "" for those outside of all. They
/// follow the current objects only.
inline std::map<std::string, std::set<Isin>> GroupsOf(const kv7im::InstrumentsRepository& repository)
{
    std::map<std::string, std::set<Isin>> groups;
    groups["MMS "] = IsinsOf(repository.RangeFuturesByMMS(""));
    groups["MCS "] = IsinsOf(repository.RangeFuturesByMCS(""));
    for (const kv7im::BaseContractNode& contract : repository.RangeBaseContractByCode()) {
        groups["MMS " + contract.GetCode()] = IsinsOf(repository.RangeFuturesByMMS(contract.GetCode()));
        groups["MCS " + contract.GetMCS()] = IsinsOf(repository.RangeFuturesByMCS(contract.GetMCS()));
    }
    return groups;
}

/// What differs between the instruments of two views, parents first; empty when they are the same.
inline std::vector<std::string> InstrumentDifferences(View a, View b)
{
    Comparison comparison;
    for (const kv7im::BaseContractNode& node : a.repository.RangeBaseContractByCode())
        comparison.BaseContracts(*node.Get(a.access), *b.repository.GetBaseContract(b.access, node.GetCode()));
    for (const kv7im::FuturesNode& node : a.repository.RangeFuturesByIsin())
        comparison.Futures(*node.Get(a.access), *b.repository.GetFutures(b.access, node.GetIsin()));
    for (const auto& [code, futures] : a.repository.RangeVirtualFuturesByCode())
        comparison.Series(*a.repository.GetVirtualFutures(a.access, code),
                          *b.repository.GetVirtualFutures(b.access, code));
    for (const kv7im::OptionEntry& option : a.repository.RangeOptionsByIsin())
        comparison.Options(*a.repository.GetOption(a.access, option.GetIsin()),
                           *b.repository.GetOption(b.access, option.GetIsin()));
    return comparison.Differences();
}

/// What differs in the profiles alone, whatever the parameters say.
inline std::vector<std::string> ProfileDifferences(View a, View b)
{
    Comparison comparison;
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
        for (const kv7im::FuturesNode& node : a.repository.RangeFuturesByIsin())
            comparison.Profiles(std::as_const(*node.Get(a.access)).GetProfile(level),
                                b.repository.GetFutures(b.access, node.GetIsin())->GetProfile(level));
        for (const kv7im::OptionEntry& option : a.repository.RangeOptionsByIsin())
            comparison.Profiles(a.repository.GetOption(a.access, option.GetIsin())->GetProfile(level),
                                b.repository.GetOption(b.access, option.GetIsin())->GetProfile(level));
    }
    return comparison.Differences();
}

/// What differs between two repositories: their instruments, the groups of their futures and the spread property of
/// their multilegs.
inline std::vector<std::string> Differences(const kv7im::InstrumentsRepository& a,
                                            const kv7im::InstrumentsRepository& b)
{
    std::vector<std::string> differences = InstrumentDifferences({a}, {b});
    Comparison comparison;
    comparison.Values("groups", GroupsOf(a), GroupsOf(b));
    comparison.Values("count of inter-month groups", a.CountMMS(), b.CountMMS());
    for (const kv7im::CSpecMultileg& multileg : a.RangeMultilegByIsin())
        comparison.Values("spread property of a multileg", multileg.IsIncompleteSpreadAspect(),
                          b.GetMultileg(multileg.GetMultilegIsin())->IsIncompleteSpreadAspect());
    differences.insert(differences.end(), comparison.Differences().begin(), comparison.Differences().end());
    return differences;
}

/// For a failure message: the first few.
inline std::string TextOf(const std::vector<std::string>& differences)
{
    std::string text = std::to_string(differences.size()) + " differences\n";
    for (std::size_t i = 0; i < differences.size() && i < 12; ++i)
        text += differences[i] + "\n";
    return text;
}

} // namespace same_model
