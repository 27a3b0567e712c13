// Portfolio: the risk book of one participant, client, firm or settlement account.
//
// Always true:  VolatilityInitialMargin_ and DeliveryVolatilityInitialMargin_ are the sums of the margins of the top
//               nodes and of the option series standing alone (of the rolled-up entries, on a participant that is fed
//               from below), kept by increments.
// Numbers:      money, not rounded; a margin is 0 or more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <boost/container/small_vector.hpp>

#include "Enums.h"
#include "Z9Types.h"
#include "book/Position.h"
#include "nodes/RiskNode.h"

namespace kv7im {

class CSpecBaseContract;
class CSpecFutures;
class CSpecMultileg;
class CSpecOption;
class CSpecVirtFutures;
class RiskParticipant;

/// Changes that a participant hands to the participant above it. Each entry pairs an isin with the change of the
/// rolled-up risk that goes up under it. One change of a client makes one or two entries, which are stored in place
/// without touching the heap; a refresh makes many. The standard allocator is named because the nodes need more
/// alignment than the vector's own allocator gives.
using RolledUpRisksVector = boost::container::small_vector<std::pair<Isin, RolledUpRiskNode>, 2,
                                                           std::allocator<std::pair<Isin, RolledUpRiskNode>>>;

/// Code of a base contract, of an MCS, or of a futures or an option series standing alone.
using TInitialMarginEntityCode = std::string;

class Portfolio
{
public:
    using MapCumulativeFuturesPosition = std::unordered_map<Isin, CumulativePositionByFutures>;
    template <class Node>
    using RisksMap = std::unordered_map<TInitialMarginEntityCode, std::shared_ptr<Node>>;
    using MapRolledUpRiskNode = std::unordered_map<TInitialMarginEntityCode, RolledUpRiskNode>;

    /// What an isin resolves to: the instrument and the position on its futures. A multileg resolves to two positions,
    /// one on the futures of each leg.
    class SearchResult
    {
    public:
        enum class ResultType
        {
            Futures = 0,
            Option = 1,
            Multileg = 2,
            Nothing = 3,
        };

        SearchResult() noexcept = default;
        SearchResult(CumulativePositionByFutures& position, const CSpecFutures& futures) noexcept
            : resultType(ResultType::Futures), futuresPtr(&futures), positionPtr(&position)
        {}
        SearchResult(CumulativePositionByFutures& position, const CSpecOption& option) noexcept
            : resultType(ResultType::Option), optionPtr(&option), positionPtr(&position)
        {}

        SearchResult(CumulativePositionByFutures& firstLeg, CumulativePositionByFutures& secondLeg,
                     const CSpecMultileg& multileg) noexcept
            : resultType(ResultType::Multileg),
              multilegPtr(&multileg),
              positionPtr(&firstLeg),
              positionSecondLegPtr(&secondLeg)
        {}

        [[nodiscard]] bool FuturesFound() const noexcept { return resultType == ResultType::Futures; }
        [[nodiscard]] bool OptionFound() const noexcept { return resultType == ResultType::Option; }
        [[nodiscard]] bool MultilegFound() const noexcept { return resultType == ResultType::Multileg; }
        [[nodiscard]] const CSpecFutures* GetFuturesPtr() const noexcept { return futuresPtr; }
        [[nodiscard]] const CSpecOption* GetOptionPtr() const noexcept { return optionPtr; }
        [[nodiscard]] const CSpecMultileg* GetMultilegPtr() const noexcept { return multilegPtr; }
        [[nodiscard]] CumulativePositionByFutures* GetPositionPtr() const noexcept { return positionPtr; }
        [[nodiscard]] CumulativePositionByFutures* GetPositionSecondLegPtr() const noexcept
        {
            return positionSecondLegPtr;
        }
        /// Z9ERR_INSTRUMENT_ABSENT when nothing was found, otherwise 0.
        [[nodiscard]] Z9ERR ErrorToZ9ErrorCode() const noexcept;

    private:
        ResultType resultType = ResultType::Nothing;
        const CSpecFutures* futuresPtr = nullptr;
        const CSpecOption* optionPtr = nullptr;
        const CSpecMultileg* multilegPtr = nullptr;
        CumulativePositionByFutures* positionPtr = nullptr;
        CumulativePositionByFutures* positionSecondLegPtr = nullptr;
    };

    explicit Portfolio(RiskParticipant* participant) noexcept : participant_(participant) {}
    Portfolio(const Portfolio&) = delete;
    Portfolio& operator=(const Portfolio&) = delete;

    /// Sets a position in a futures or an option and carries the change to both margins. The net option value of a
    /// premium-style option counts novQuantity contracts. Returns Z9ERR_INSTRUMENT_ABSENT, and changes nothing, when
    /// the isin names neither a futures nor an option.
    [[nodiscard]] Z9ERR SetPosition(Isin isin, std::int64_t quantity, double price, std::int64_t novQuantity);

    /// Sets a position in a futures or an option in the mode of positions alone, which values it by its cost basis and
    /// a market price and keeps the paper loss apart. Returns what SetPosition returns. A book runs in one mode or the
    /// other.
    [[nodiscard]] Z9ERR SetPosition_PositionsOnly(Isin isin, std::int64_t quantity, double price, double marketPrice,
                                                  std::int64_t novQuantity);

    /// Adds changes to the orders in a futures, an option or a multileg, whose legs each take their share. Codes as of
    /// SetPosition; Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND for a multileg without one of its legs.
    [[nodiscard]] Z9ERR ChangeOrder(Isin isin, std::size_t count, const SClearingDeltaOrder* orders);

    /// A refresh that can be taken back (book/RefreshedPortfolio.h).
    class Refreshed;

    /// A change of a position in two steps, so that several books change together or not at all: the constructor does
    /// everything that may run out of memory, Apply the rest. A change that was not applied leaves nothing behind but a
    /// flat position. The book outlives it, and nothing else changes in it in between.
    ///
    /// Where the change takes out what has spoilt the cells of the book (IsSpoiltFor), the book is taken anew: its
    /// figures are those of a fresh book with what it holds now.
    class PreparedPosition
    {
    public:
        PreparedPosition(Portfolio& book, Isin isin, std::int64_t quantity, double price, std::int64_t novQuantity);
        ~PreparedPosition();
        PreparedPosition(const PreparedPosition&) = delete;
        PreparedPosition& operator=(const PreparedPosition&) = delete;

        /// Makes the change, which cannot fail, and gives the code of SetPosition.
        [[nodiscard]] Z9ERR Apply();
        /// What the isin resolves to in the book, from Apply on too.
        [[nodiscard]] const SearchResult& Found() const noexcept { return m_found; }
        /// True where Apply leaves a book that was taken anew. Until then the book shows what it will be.
        [[nodiscard]] bool TakesAnew() const noexcept { return m_before != nullptr; }

    private:
        void Find();
        void Change();
        void TakeAnew();

        Portfolio& m_book;
        Isin m_isin;
        std::int64_t m_quantity;
        double m_price;
        std::int64_t m_novQuantity;
        SearchResult m_found;
        CSpecPosition* m_position = nullptr; // null for an isin that takes no position
        std::unique_ptr<Refreshed> m_before; // the book as it was, where it is taken anew
    };

    /// A change of orders in two steps, as PreparedPosition is one of a position. A change that was not applied leaves
    /// nothing behind but flat positions.
    class PreparedOrders
    {
    public:
        PreparedOrders(Portfolio& book, Isin isin, std::size_t count, const SClearingDeltaOrder* orders);
        ~PreparedOrders();
        PreparedOrders(const PreparedOrders&) = delete;
        PreparedOrders& operator=(const PreparedOrders&) = delete;

        /// Makes the change, which cannot fail, and gives the code of ChangeOrder; none is made for another than 0.
        [[nodiscard]] Z9ERR Apply();
        [[nodiscard]] const SearchResult& Found() const noexcept { return m_found; }
        [[nodiscard]] bool TakesAnew() const noexcept { return m_before != nullptr; }

    private:
        [[nodiscard]] Z9ERR Prepare(Portfolio& book, std::size_t count, const SClearingDeltaOrder* orders);
        [[nodiscard]] Z9ERR PrepareMultileg(Portfolio& book, std::size_t count, const SClearingDeltaOrder* orders);
        void Change();
        [[nodiscard]] double MagnitudeOfChanges() const noexcept;
        void TakeAnew(Isin isin, std::size_t count, const SClearingDeltaOrder* orders);

        Portfolio& m_book;
        SearchResult m_found;
        std::optional<CSpecPosition::OrderChange> m_first;  // of the instrument, or of a multileg's first leg
        std::optional<CSpecPosition::OrderChange> m_second; // of a multileg's second leg
        Z9ERR m_code;
        std::unique_ptr<Refreshed> m_before; // the book as it was, where it is taken anew
    };

    /// Rebuilds the position on a futures, with its options and their orders, on the present instruments. With
    /// useRealCalcPrice the settlement prices replace the average prices. Returns Z9ERR_CALCGO_API_POSITION_NOT_FOUND
    /// without a position. Otherwise it stops at the first code that a rebuilt part returns; the parts rebuilt until
    /// then stay, on the new instruments. When it throws, the position stands on the old instruments as before, and so
    /// do its groups and both margins.
    [[nodiscard]] Z9ERR RecalcFuturesPositionInPortfolio(Isin isin, bool useRealCalcPrice);
    /// True while a position stands on an instrument that the release of the open changes would destroy.
    [[nodiscard]] bool StandsOnChangedInstruments() const;
    /// Rebuilds the whole book after the participant's parameters have changed. A position whose instrument is gone
    /// drops out. Always returns 0. When it throws, the book is as it was.
    Z9ERR Refresh();

    /// Empties the book: positions, nodes and both margins. The gross sum and the rolled-up entries stay.
    void Clear();

    [[nodiscard]] const MapCumulativeFuturesPosition& RangePositions() const noexcept { return positions; }
    /// Null when there is no position on this futures.
    [[nodiscard]] const CumulativePositionByFutures* GetFuturesPositionByIsin(Isin isin) const;
    [[nodiscard]] std::size_t GetPositionCount() const noexcept { return positions.size(); }
    [[nodiscard]] bool Empty() const noexcept { return positions.empty(); }

    [[nodiscard]] double GetVolatilityInitialMargin() const noexcept { return VolatilityInitialMargin_; }
    [[nodiscard]] double GetDeliveryVolatilityInitialMargin() const noexcept
    {
        return DeliveryVolatilityInitialMargin_;
    }
    void IncreaseVolatilityInitialMarginBy(double change) noexcept { VolatilityInitialMargin_ += change; }
    void IncreaseDeliveryVolatilityInitialMarginBy(double change) noexcept
    {
        DeliveryVolatilityInitialMargin_ += change;
    }
    /// Adds a change of the GO of a firm below, money; used by a settlement account under Gross.
    void IncreaseGrossInitialMargin(double change) noexcept { grossInitialMargin_ += change; }
    void SetGrossInitialMargin(double margin) noexcept { grossInitialMargin_ = margin; }
    [[nodiscard]] double GetGrossInitialMargin() const noexcept { return grossInitialMargin_; }

    [[nodiscard]] RisksMap<RiskNodeMMS>& GetRisksMapOfLevelMMS() noexcept { return initialMarginRisksMapMMS_; }
    [[nodiscard]] RisksMap<RiskNodeMCS>& GetRisksMapOfLevelMCS() noexcept { return initialMarginRisksMapMCS_; }
    [[nodiscard]] const RiskNodeMMS* GetRisksNodeOfLevelMMS(const std::string& code) const; ///< Null when absent.
    [[nodiscard]] const RiskNodeMCS* GetRisksNodeOfLevelMCS(const std::string& code) const; ///< Null when absent.

    /// Largest magnitude (CSpecPosition::MagnitudeOf) that leaves the cents of a book as they are: half a cent is more
    /// than what a double of this size is rounded by.
    static constexpr double MagnitudeThatKeepsCents = 0.005 / (std::numeric_limits<double>::epsilon() / 2.0);
    /// Remembers a magnitude that went through the book, since the book was made or taken anew.
    void NoteMagnitude(double magnitude) noexcept
    {
        if (!(magnitude <= MagnitudeThatKeepsCents)) [[unlikely]]
            RememberMagnitude(magnitude);
    }
    /// True where the book remembers something larger than MagnitudeThatKeepsCents, or no number.
    [[nodiscard]] bool IsSuspect() const noexcept { return m_largestMagnitude != 0.0; }
    /// True where what went through the book was no number, or more than a thousand times what is left, and what is
    /// left, of this magnitude, is a number.
    [[nodiscard]] bool IsSpoiltFor(double rest) const noexcept;
    void ForgetMagnitude() noexcept { m_largestMagnitude = 0.0; }

    /// What a change of one instrument hands up, and where the levels above add it (book/PreparedRollUp.h).
    class PreparedReport;
    class PreparedSums;
    class SumsAnew;
    /// Whether reports of clients that count as reported have not reached the sums of this book: they are to be taken
    /// anew (SumsAnew).
    [[nodiscard]] bool AreSumsBehind() const noexcept { return m_areSumsBehind; }
    void SetSumsBehind(bool value) noexcept { m_areSumsBehind = value; }
    /// Begins to report anew: everything that the book holds counts as reported.
    void ReportAnew();
    /// Appends the losses that stand reported, entry by entry.
    void AppendReportedLosses(RolledUpRisksVector& losses) const;

    /// Appends the change since the last call of the losses in the rolled-up risk of this isin's top node. An option of
    /// a series standing alone reports its series; any other option reports its futures, under the isin of the futures.
    /// A multileg reports its first leg, and its second leg as well while the legs are not both in spread. An unknown
    /// isin appends nothing.
    void GetDeltaRolledUpRiskNodes(Isin isin, RolledUpRisksVector& deltas);
    /// Appends the changes of everything held on one futures after instruments or parameters have changed: the futures,
    /// each series standing alone, and what is left behind by a futures or a series that has entered or left the
    /// spread.
    void GetAllDeltaRolledUpRiskNodesByFutures(const CumulativePositionByFutures& position,
                                               RolledUpRisksVector& deltas);
    /// Applies the changes of the participants below, in their order. When it throws, nothing has changed.
    void AddRolledUpRiskNodes(const RolledUpRisksVector& deltas);
    /// Applies one change. Under the isin of an option of a series in spread there is nothing to apply: its futures has
    /// it.
    void AddRolledUpRiskNode(Isin isin, const RolledUpRiskNode& node);
    /// The rolled-up entry of a base contract, an MCS, or a futures or series standing alone; null when absent.
    [[nodiscard]] const RolledUpRiskNode* GetHalfNettingRisksByCode(const std::string& code) const;

    // Replica: positions and orders by isin, without the records of an exchange.

    [[nodiscard]] std::vector<Isin> GetFuturesIsins() const;
    /// The position in a futures or in an option, without creating anything; null when there is none.
    [[nodiscard]] const CSpecPosition* GetSpecPosition(Isin isin) const;
    /// Adds a change to the orders in a futures or an option: deltaQuantity contracts, below 0 to cancel. Codes as
    /// of SetPosition; 0 without effect for a multileg, whose orders come with records only.
    [[nodiscard]] Z9ERR ChangeOrder(Isin isin, const KeyPriceType& key, std::int64_t deltaQuantity);

private:
    void RememberMagnitude(double magnitude) noexcept;
    /// Magnitude of what the book holds, without the position that is being changed; its orders count.
    [[nodiscard]] double MagnitudeOfHoldings(const CSpecPosition* changing) const noexcept;

    [[nodiscard]] SearchResult FindByIsin(Isin isin);
    [[nodiscard]] SearchResult FindMultileg(const CSpecMultileg& multileg);
    CumulativePositionByFutures& FindOrCreateCumulativeFuturesPosition(const CSpecFutures& futures);

    [[nodiscard]] Z9ERR ChangeOrderBySOrderInfoPrivate(Isin isin, bool isBuying, const KeyPriceType& key,
                                                       const SOrderInfo& info);
    [[nodiscard]] Z9ERR RefreshLegPrices(SOrderInfo& info, Isin isin);
    [[nodiscard]] Z9ERR resetOrders(const OrdersMap& orders, Isin isin);
    /// Where a position that is entered again has the contracts from that its net option value counts.
    enum class NovQuantity
    {
        OfAccounting,
        AsItWas,
    };
    [[nodiscard]] Z9ERR InsertFuturesPosition(const CumulativePositionByFutures& position, bool useRealCalcPrice,
                                              NovQuantity novQuantity = NovQuantity::OfAccounting);
    [[nodiscard]] Z9ERR InsertOptionPosition(const CSpecPositionOptionsBase& position, bool useRealCalcPrice,
                                             NovQuantity novQuantity);
    struct KeptGroups;
    [[nodiscard]] KeptGroups KeepGroups(const CSpecBaseContract& baseContract) const;
    void ZeroingRiskByFutures(const CumulativePositionByFutures& position, const CSpecFutures& speaker);
    void AddMarginOfGroupThatWasLeft(const CumulativePositionByFutures& old, const CSpecFutures* now);

    [[nodiscard]] RolledUpRiskNode& EntryOfNode(const std::string& code, const RiskNodeBase& node,
                                                const CSpecBaseContract& baseContract);
    static void MakeRoomFor(RolledUpRisksVector& deltas, std::size_t more);
    [[nodiscard]] static RolledUpRiskNode GetRolledUpRiskNode(const RiskNodeBase& node,
                                                              const CSpecBaseContract& baseContract);
    [[nodiscard]] RolledUpRiskNode GetDeltaRolledUpRiskNode(const std::string& code, RolledUpRiskNode current);
    [[nodiscard]] RolledUpRiskNode GetDeltaRolledUpRiskNodeFromZero(const std::string& code, std::size_t pointsNum);
    void PushDeltasOfSeries(const CumulativePositionByFutures& position, RolledUpRisksVector& deltas);
    void PushDeltaOfSpreadAspect(const CumulativePositionByFutures& position, RolledUpRisksVector& deltas);
    [[nodiscard]] RolledUpRiskNode GetDeltaRolledUpRiskNodeMMS(const CSpecFutures& futures);
    [[nodiscard]] RolledUpRiskNode& TryFindOrCreateRolledUpRisk(const std::string& code, std::size_t pointsNum);
    template <class Do>
    void ForEachMemberOfMCS(const CSpecBaseContract& baseContract, const Do& with) const;
    void MakeRoomInMCS(const CSpecBaseContract& baseContract, RolledUpRiskNode& entryOfMCS) const;
    void RebuildRolledUpMCS(const CSpecBaseContract& baseContract, RolledUpRiskNode& entryOfMCS) const;
    void AddMarginChangesOf(RolledUpRiskNode& entry);

    RiskParticipant* participant_; // owner of this book
    RisksMap<RiskNodeMCS> initialMarginRisksMapMCS_;
    RisksMap<RiskNodeMMS> initialMarginRisksMapMMS_;
    MapCumulativeFuturesPosition positions; // go before the groups that they are members of
    double VolatilityInitialMargin_ = 0.0;
    double DeliveryVolatilityInitialMargin_ = 0.0;
    double grossInitialMargin_ = 0.0;
    bool m_areSumsBehind = false;
    double m_largestMagnitude = 0.0; // money; 0 while nothing could spoil the cells, infinite after what is no number
    MapRolledUpRiskNode halfNettingRisksCorrected_;
};

} // namespace kv7im
