// The two ends of the way that a change of losses goes from a book to the levels above it, each with everything that
// may run out of memory in front, so that the levels change together or not at all.
//
//   PreparedReport  in the book that changes: which entries report, and the cells that a report takes
//   PreparedSums    in a book above: which entries take the reports
//
// Used as:      PreparedReport report(client, isin, found); // before the client's book changes
//               PreparedSums sums(firm);
//               sums.MakeRoomFor(report);
//               ... the change ...
//               report.Collect(deltas);                     // from here on nothing fails
//               sums.Add(deltas);
// Life:         both look at entries of their books, which outlive them; no instrument changes in between.
#pragma once

#include <cstdint>
#include <string>

#include <boost/container/small_vector.hpp>
#include <boost/container/static_vector.hpp>

#include "book/Portfolio.h"

namespace kv7im {

class Portfolio::PreparedReport
{
public:
    /// `found` is what the isin resolves to in the book: a change of an unknown isin reports nothing. The series of an
    /// option that stands alone is reported where the book has a node for it, otherwise its futures.
    PreparedReport(Portfolio& book, Isin isin, const SearchResult& found);
    /// Appends the changes of the losses since the last report. An entry counts its change as reported.
    void Collect(RolledUpRisksVector& deltas) const;

private:
    friend class PreparedSums;

    /// One line of the report.
    struct Line
    {
        Isin isin;
        RolledUpRiskNode* entry;
        const RiskNodeBase* node;
        const CSpecBaseContract* baseContract;
    };
    void AddSeries(Portfolio& book, Isin isin, const RiskNodeOptionSeries& series, const SearchResult& found);
    void AddFutures(Portfolio& book, const CumulativePositionByFutures& position);
    void AddLine(Portfolio& book, Isin isin, const std::string& code, const RiskNodeBase& node,
                 const CSpecBaseContract& baseContract);

    boost::container::static_vector<Line, 2> m_lines; // a multileg has two
};

class Portfolio::PreparedSums
{
public:
    explicit PreparedSums(Portfolio& book) noexcept : m_book(book) {}

    /// Room for the lines of a report that is still to be collected.
    void MakeRoomFor(const PreparedReport& report);
    /// Room for changes that are known already.
    void MakeRoomFor(const RolledUpRisksVector& deltas);
    /// Adds the changes that room was made for, in the same order, and carries them to both margins.
    void Add(const RolledUpRisksVector& deltas);

private:
    /// The entries that one change goes to; none for an option of a series in spread, whose futures has the change.
    struct Target
    {
        RolledUpRiskNode* entry = nullptr;
        RolledUpRiskNode* entryOfMCS = nullptr;          // null without an MCS
        const CSpecBaseContract* baseContract = nullptr; // of the MCS
    };
    [[nodiscard]] Target FindTarget(Isin isin, bool isInShapeBefore);
    [[nodiscard]] RolledUpRiskNode& MakeEntry(const std::string& code, std::int32_t pointsNum);
    void Add(const Target& target, const RolledUpRiskNode& delta);

    Portfolio& m_book;
    boost::container::small_vector<Target, 2> m_targets; // of a report's lines
};

/// Sums a book above anew from all the losses that its clients have reported: where one of them was spoilt, so were the
/// sums. Unless Keep is called, the book gets back what it held.
class Portfolio::SumsAnew
{
public:
    /// When it throws, the book is as it was.
    SumsAnew(Portfolio& book, const RolledUpRisksVector& losses);
    SumsAnew(const SumsAnew&) = delete;
    SumsAnew& operator=(const SumsAnew&) = delete;
    ~SumsAnew();

    void Keep() noexcept;

private:
    void GiveBack() noexcept;

    Portfolio& m_book;
    MapRolledUpRiskNode m_entries;
    double m_volatilityMargin;
    double m_deliveryMargin;
    bool m_isKept = false;
};

} // namespace kv7im
