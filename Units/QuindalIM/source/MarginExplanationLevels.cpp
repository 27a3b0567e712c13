#include "MarginExplanationLevels.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <string>

#include "book/Portfolio.h"
#include "book/RiskParticipant.h"
#include "except.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace QuindalIM::explanation {

namespace {

using kv7im::CSpecPosition;
using kv7im::CSpecPositionOptionsBase;
using kv7im::CumulativePositionByFutures;

void Check(Z9ERR code)
{
    if (code != 0)
        throw kv7base::CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("A position that is held cannot be margined alone.");
}

/// A part of a participant's book as a book of its own, margined by the parameters of that participant. Nothing done
/// here reaches the participant.
class PartOfBook final : public kv7im::RiskParticipant
{
public:
    explicit PartOfBook(const kv7im::RiskParticipant& owner) : m_owner(owner), m_book(this) {}
    PartOfBook(const PartOfBook&) = delete;
    PartOfBook& operator=(const PartOfBook&) = delete;

    /// A position and the orders in its instrument. novQuantity is what the net option value counts.
    void Take(Isin isin, const CSpecPosition& position, std::int64_t novQuantity)
    {
        if (position.GetQuantity() != 0)
            Check(m_book.SetPosition(isin, position.GetQuantity(), position.GetWAPrice(), novQuantity));
        const std::vector<SClearingDeltaOrder> records = OrderRecordsOf(isin, position.GetOrders());
        if (!records.empty()) Check(m_book.ChangeOrder(isin, records.size(), records.data()));
    }

    [[nodiscard]] double Margin(const MarginExplanation& terms) const
    {
        return ((1 - terms.weight) * m_book.GetVolatilityInitialMargin() +
                terms.weight * m_book.GetDeliveryVolatilityInitialMargin()) *
               terms.ratio;
    }

    Enums::ClientRiskLevel GetRiskLevel() const override { return m_owner.GetRiskLevel(); }
    bool GetNoFutDiscount() const override { return m_owner.GetNoFutDiscount(); }
    Enums::SpreadMarginType GetCalSpreadMarginType() const override { return m_owner.GetCalSpreadMarginType(); }
    Enums::SpreadMarginType GetInterContractSpreadMarginType() const override
    {
        return m_owner.GetInterContractSpreadMarginType();
    }
    double GetShortOptionMinimumChargeRatio() const override { return m_owner.GetShortOptionMinimumChargeRatio(); }
    double GetBrokerBaseContractGORatio(const std::string& code) const override
    {
        return m_owner.GetBrokerBaseContractGORatio(code);
    }
    double GetBrokerBaseContractGORatioForMCS(const std::string& code) const override
    {
        return m_owner.GetBrokerBaseContractGORatioForMCS(code);
    }
    bool WeHaveToCalcDeliveryRisk(const kv7im::CSpecOption* option) const override
    {
        return m_owner.WeHaveToCalcDeliveryRisk(option);
    }
    std::int64_t GetAfterLastClearingQuantityByIsin(Isin isin) const override
    {
        return m_owner.GetAfterLastClearingQuantityByIsin(isin);
    }
    void NewPositionAddedToPortfolio(const CumulativePositionByFutures&) override {}
    const kv7im::InstrumentsRepositoryWrapper& GetInstruments() const override { return m_owner.GetInstruments(); }

private:
    const kv7im::RiskParticipant& m_owner;
    kv7im::Portfolio m_book;
};

// The quantity that the net option value of a position was computed from.
std::int64_t NovQuantity(const CSpecPositionOptionsBase& position)
{
    const kv7im::CSpecOption& option = position.GetOption();
    const double ofOne = option.CalcOptPrice * option.VirtFutures->MoneyCoef;
    return ofOne == 0.0 ? 0 : std::llround(position.GetNOVi() / ofOne);
}

// The book that a position falls into when netting goes no further than a level. A null option stands for the futures
// itself.
std::string BookOf(NettingLevel level, const CumulativePositionByFutures& position,
                   const CSpecPositionOptionsBase* option)
{
    if (level == NettingLevel::Gross)
        return "instrument " + std::to_string(option == nullptr ? position.GetIsin() : option->GetOptIsin());
    if (option != nullptr && (level == NettingLevel::Series || !option->IsInSpread()))
        return "series " + option->GetOption().CodeVF;
    if (level == NettingLevel::BaseContract && position.HasLevelMMS()) return "contract " + position.GetRiskNameMMS();
    return "futures " + position.GetCode();
}

double MarginUpTo(NettingLevel level, const kv7im::Portfolio& book, const kv7im::RiskParticipant& participant,
                  const MarginExplanation& terms)
{
    std::map<std::string, PartOfBook> parts;
    const auto partOf = [&](const CumulativePositionByFutures& position,
                            const CSpecPositionOptionsBase* option) -> PartOfBook& {
        return parts.try_emplace(BookOf(level, position, option), participant).first->second;
    };
    for (const auto& [isin, position] : book.RangePositions()) {
        partOf(position, nullptr).Take(isin, position.GetFuturesPositionSpec(), 0);
        for (const auto& [optionIsin, option] : position.RangeOptions())
            partOf(position, option.get()).Take(optionIsin, *option, NovQuantity(*option));
    }
    double margin = 0.0;
    for (const auto& [code, part] : parts)
        margin += part.Margin(terms);
    return margin;
}

} // namespace

std::vector<LevelMargin> LevelsOf(const kv7im::Portfolio& book, const kv7im::RiskParticipant& participant,
                                  const MarginExplanation& explained)
{
    constexpr std::array partial{NettingLevel::Gross, NettingLevel::Series, NettingLevel::Futures,
                                 NettingLevel::BaseContract};
    std::vector<LevelMargin> levels;
    levels.reserve(partial.size() + 1);
    for (const NettingLevel level : partial)
        levels.push_back({level, MarginUpTo(level, book, participant, explained), 0.0});
    levels.push_back({NettingLevel::AcrossContracts, explained.unrounded, 0.0});
    for (std::size_t i = 1; i < levels.size(); ++i)
        levels[i].saved = levels[i - 1].margin - levels[i].margin;
    return levels;
}

} // namespace QuindalIM::explanation
