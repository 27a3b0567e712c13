#include "book/PreparedRollUp.h"

#include <set>
#include <utility>

#include "book/RiskParticipant.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecMultileg.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace kv7im {

namespace {

// Rows that one line takes on its way, on both sides: the collapsed node, its copy, what replaces the entry, the
// change, and what an entry above keeps once its sides differ.
constexpr std::size_t MostRowsOfALine = 16;

// The node of an option's series where the series is margined by itself and was held at some time; otherwise null.
const RiskNodeOptionSeries* SeriesStandingAlone(const Portfolio::SearchResult& found)
{
    if (!found.OptionFound() || found.GetOptionPtr()->VirtFutures->IsInSpread) return nullptr;
    return found.GetPositionPtr()->GetRiskNodeOptionSeriesByVFCode(found.GetOptionPtr()->CodeVF);
}

// Code that a futures rolls up under: in a spread that of its base contract, otherwise its own.
const std::string& RolledUpCodeOf(const CSpecFutures& futures)
{
    return futures.IsInSpread ? futures.CodeBC : futures.Code;
}

const RiskNodeBase& NodeThatReports(const CumulativePositionByFutures& position)
{
    const RiskNodeFutures& owner = position.GetOwnerRiskNode();
    if (position.HasLevelMMS()) return *owner.Group();
    return owner;
}

} // namespace

// The report ---------------------------------------------------------------------------------------------------------

Portfolio::PreparedReport::PreparedReport(Portfolio& book, Isin isin, const SearchResult& found)
{
    if (found.GetPositionPtr() == nullptr) return;
    if (const RiskNodeOptionSeries* const series = SeriesStandingAlone(found)) {
        AddSeries(book, isin, *series, found);
        return;
    }
    AddFutures(book, *found.GetPositionPtr());
    if (found.MultilegFound() && found.GetMultilegPtr()->IsIncompleteSpreadAspect())
        AddFutures(book, *found.GetPositionSecondLegPtr());
}

void Portfolio::PreparedReport::AddSeries(Portfolio& book, Isin isin, const RiskNodeOptionSeries& series,
                                          const SearchResult& found)
{
    const CSpecVirtFutures& instrument = *found.GetOptionPtr()->VirtFutures;
    AddLine(book, isin, instrument.Code, series, *found.GetPositionPtr()->GetFutures()->BaseContract);
}

void Portfolio::PreparedReport::AddFutures(Portfolio& book, const CumulativePositionByFutures& position)
{
    const CSpecFutures& futures = *position.GetFutures();
    AddLine(book, futures.isin, RolledUpCodeOf(futures), NodeThatReports(position), *futures.BaseContract);
}

void Portfolio::PreparedReport::AddLine(Portfolio& book, Isin isin, const std::string& code, const RiskNodeBase& node,
                                        const CSpecBaseContract& baseContract)
{
    RolledUpRiskNode& entry = book.EntryOfNode(code, node, baseContract);
    RiskRow::MakeSure(entry.PointsNum(), MostRowsOfALine);
    m_lines.push_back({isin, &entry, &node, &baseContract});
}

void Portfolio::PreparedReport::Collect(RolledUpRisksVector& deltas) const
{
    MakeRoomFor(deltas, m_lines.size());
    for (const Line& line : m_lines)
        deltas.emplace_back(line.isin, line.entry->ReplaceBy(GetRolledUpRiskNode(*line.node, *line.baseContract)));
}

// The sums -----------------------------------------------------------------------------------------------------------

void Portfolio::PreparedSums::MakeRoomFor(const PreparedReport& report)
{
    for (const PreparedReport::Line& line : report.m_lines) {
        const Target& target = m_targets.emplace_back(FindTarget(line.isin, false));
        if (target.entry != nullptr) RiskRow::MakeSure(target.entry->PointsNum(), MostRowsOfALine);
        if (target.entryOfMCS != nullptr) RiskRow::MakeSure(target.entryOfMCS->PointsNum(), MostRowsOfALine);
    }
}

// The entries are found once more when the changes are added: a list of them would take memory, too.
void Portfolio::PreparedSums::MakeRoomFor(const RolledUpRisksVector& deltas)
{
    for (const auto& [isin, delta] : deltas) {
        const Target target = FindTarget(isin, delta.GetIsFromSpreadAspectChange());
        if (target.entry != nullptr) target.entry->MakeRoomFor(delta);
        if (target.entryOfMCS != nullptr) m_book.MakeRoomInMCS(*target.baseContract, *target.entryOfMCS);
    }
}

// After a change of the spread the isin is read in the shape before it.
Portfolio::PreparedSums::Target Portfolio::PreparedSums::FindTarget(Isin isin, bool isInShapeBefore)
{
    const InstrumentsRepositoryWrapper& instruments = m_book.participant_->GetInstruments();
    const AccessByStatus access = isInShapeBefore ? AccessByStatus::eCurrent : instruments.GetStatus(isin);
    const InstrumentsRepository& repository = instruments.GetRepository();
    if (const CSpecFutures* const futures = repository.GetFutures(access, isin)) {
        Target target{.entry = &MakeEntry(RolledUpCodeOf(*futures), futures->GetPointsNum())};
        if (!futures->IsInSpread || !futures->BaseContract->HasMCS()) return target;
        target.entryOfMCS = &MakeEntry(futures->BaseContract->CodeMCS, futures->GetPointsNum());
        target.baseContract = futures->BaseContract;
        return target;
    }
    // A series standing alone belongs to no group. Its row has real price points only: sub-points were folded below.
    const CSpecOption* const option = repository.GetOption(access, isin);
    if (option == nullptr || option->VirtFutures->IsInSpread) return {};
    return {.entry = &MakeEntry(option->VirtFutures->Code, option->VirtFutures->GetPointsNum())};
}

RolledUpRiskNode& Portfolio::PreparedSums::MakeEntry(const std::string& code, std::int32_t pointsNum)
{
    return m_book.TryFindOrCreateRolledUpRisk(code, static_cast<std::size_t>(pointsNum));
}

void Portfolio::PreparedSums::Add(const RolledUpRisksVector& deltas)
{
    std::size_t next = 0;
    for (const auto& [isin, delta] : deltas)
        Add(next < m_targets.size() ? m_targets[next++] : FindTarget(isin, delta.GetIsFromSpreadAspectChange()), delta);
}

void Portfolio::PreparedSums::Add(const Target& target, const RolledUpRiskNode& delta)
{
    if (target.entry == nullptr) return;
    *target.entry += delta;
    if (target.entryOfMCS != nullptr) m_book.RebuildRolledUpMCS(*target.baseContract, *target.entryOfMCS);
    m_book.AddMarginChangesOf(target.entryOfMCS != nullptr ? *target.entryOfMCS : *target.entry);
}

// Anew ---------------------------------------------------------------------------------------------------------------

void Portfolio::ReportAnew()
{
    halfNettingRisksCorrected_.clear();
    RolledUpRisksVector reported;
    for (const auto& [isin, position] : positions)
        GetAllDeltaRolledUpRiskNodesByFutures(position, reported);
}

void Portfolio::AppendReportedLosses(RolledUpRisksVector& losses) const
{
    std::set<const RolledUpRiskNode*> seen; // the futures of a contract in spread share an entry
    const auto append = [&](Isin isin, const std::string& code) {
        const RolledUpRiskNode* const entry = GetHalfNettingRisksByCode(code);
        if (entry == nullptr || !seen.insert(entry).second) return;
        MakeRoomFor(losses, 1);
        losses.emplace_back(isin, *entry).second.BoundValuesFromAbove(0.0);
    };
    for (const auto& [isin, position] : positions) {
        append(isin, RolledUpCodeOf(*position.GetFutures()));
        for (const auto& [optionIsin, option] : position.RangeOptions())
            if (!option->IsInSpread()) append(optionIsin, option->GetOption().VirtFutures->Code);
    }
}

Portfolio::SumsAnew::SumsAnew(Portfolio& book, const RolledUpRisksVector& losses)
    : m_book(book),
      m_volatilityMargin(book.VolatilityInitialMargin_),
      m_deliveryMargin(book.DeliveryVolatilityInitialMargin_)
{
    m_book.halfNettingRisksCorrected_.swap(m_entries);
    m_book.VolatilityInitialMargin_ = 0.0;
    m_book.DeliveryVolatilityInitialMargin_ = 0.0;
    try {
        m_book.AddRolledUpRiskNodes(losses);
    } catch (...) {
        GiveBack();
        throw;
    }
}

void Portfolio::SumsAnew::Keep() noexcept
{
    m_isKept = true;
    m_book.SetSumsBehind(false);
}

Portfolio::SumsAnew::~SumsAnew()
{
    if (!m_isKept) GiveBack();
}

void Portfolio::SumsAnew::GiveBack() noexcept
{
    m_book.halfNettingRisksCorrected_.swap(m_entries);
    m_book.VolatilityInitialMargin_ = m_volatilityMargin;
    m_book.DeliveryVolatilityInitialMargin_ = m_deliveryMargin;
}

} // namespace kv7im
