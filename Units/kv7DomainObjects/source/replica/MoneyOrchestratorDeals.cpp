// A deal on its way through the accounting of client, firm and settlement account, and on into their risk books.
#include <array>
#include <vector>

#include "MarginOrchestrator.h"
#include "WrappingArithmetic.h"
#include "replica/DealRoad.h"
#include "replica/MoneyLevels.h"

namespace money_orchestrator {

namespace {

// The premium of such an option was paid when it traded: closing it moves no variation margin.
constexpr bool PremiumStyleApart = true;

/// One level that a deal is booked on.
struct Level
{
    ParticipantBase& participant;
    PosTradeVector& trades;
    PrevAndCurrPosition* positions; // of a clearing deal only
};

/// The part of a level's accounting and money that a deal may change, as it stood before.
class LevelBackup
{
public:
    LevelBackup(const Level& level, const Legs& legs)
        : m_level(level),
          m_means(level.participant.GetMeans()),
          m_sums(ReadClosedVM(level.participant, CurrenciesOf(legs)))
    {
        for (const Leg& leg : legs) {
            const SPosition* const record = level.participant.GetPositionCalculator().getPosition(leg.isin);
            if (record != nullptr)
                m_records.push_back(*record);
            else
                m_newIsins.push_back(leg.isin);
        }
    }

    void Restore() const noexcept
    {
        CPositionCalculator& accounting = m_level.participant.GetPositionCalculator();
        if (m_level.positions != nullptr) *m_level.positions = {}; // may point at a record that goes
        for (const SPosition& record : m_records)
            *accounting.getPosition(record.isin) = record;
        for (const Isin isin : m_newIsins)
            accounting.RemovePosition(isin);
        WriteClosedVM(m_level.participant, m_sums);
        m_level.participant.GetMeansForUpdate() = m_means;
    }

private:
    Level m_level;
    Domain::Means m_means;
    boost::container::static_vector<SPosition, MaxLegs> m_records;
    boost::container::static_vector<Isin, MaxLegs> m_newIsins;
    ClosedVM m_sums;
};

/// A deal of a client and the levels that it moves.
struct Deal
{
    Deal(BraskClient& client_, LinkedAssumedVectors& vectors, PositionSet* positions)
        : client(client_),
          account(client_.GetBroker().GetSettlementAccount()),
          clientLevel{client_, vectors.positionsTradesClient, positions ? &positions->clientPosition : nullptr},
          firmLevel{client_.GetBroker(), vectors.positionsTradesBroker,
                    positions ? &positions->brokerPosition : nullptr},
          accountLevel{*account, vectors.positionsTradesSettlementAccount,
                       positions ? &positions->settlementAccountPosition : nullptr}
    {}

    BraskClient& client;
    const BraskSettlementAccountPtr account;
    [[nodiscard]] std::array<const Level*, 3> Levels() const noexcept
    {
        return {&clientLevel, &firmLevel, &accountLevel};
    }

    Level clientLevel;
    Level firmLevel;
    Level accountLevel;
    Legs legs;
};

// True when the risk book has a position that the accounting does not know: a deal would take its place there.
[[nodiscard]] bool StandsInBookAlone(const ParticipantBase& participant, Isin isin)
{
    return participant.GetPositionCalculator().getPosition(isin) == nullptr &&
           margin_orchestrator::GetPositionQuantity(participant, isin) != 0;
}

// Refuses a deal in the leg before anything of it is made; Z9ERR_OK when nothing speaks against it.
[[nodiscard]] Z9ERR CheckLeg(const Deal& deal, Isin isin)
{
    if (!KnownToBooks(deal.client, isin)) return Z9ERR_INSTRUMENT_ABSENT;
    for (const Level* const level : deal.Levels()) {
        const bool isBooked = level == &deal.clientLevel || KeepsAccounting(level->participant);
        if (isBooked && StandsInBookAlone(level->participant, isin))
            return Z9ERR_POSITION_CALCULATOR_POSITION_NOT_FOUND;
    }
    return Z9ERR_OK;
}

// Makes a record for each leg at each level, since a booking passes over an isin without a record.
void EnsureRecords(const Deal& deal)
{
    for (const Leg& leg : deal.legs)
        for (const Level* const level : deal.Levels())
            if (HasPositions(level->participant)) EnsureRecord(level->participant, leg.isin);
}

// Books on one level by the given operation. An account without positions gets records of the deal alone, so that the
// three vectors stay alike.
template <class Book>
void BookOnLevel(const Level& level, const Level& below, const Book& book)
{
    if (HasPositions(level.participant)) {
        book(level, KeepsAccounting(level.participant));
        return;
    }
    level.trades.clear();
    for (const pos::SPosTrade& known : below.trades) {
        pos::SPosTrade trade;
        trade.isin = known.isin;
        trade.priceTechnic = known.priceTechnic;
        trade.status = known.status;
        level.trades.push_back(trade);
    }
    if (level.positions != nullptr) *level.positions = {};
}

// Books on the client, the firm and the settlement account in turn; the VM that one closes goes on to the next.
template <class Book>
void BookUpward(Deal& deal, const Book& book)
{
    BraskBroker& firm = deal.client.GetBroker();
    const Currencies currencies = CurrenciesOf(deal.legs);

    const ClosedVM clientBefore = ReadClosedVM(deal.client, currencies);
    BookOnLevel(deal.clientLevel, deal.clientLevel, book);
    ClosedVM ofClient = ReadClosedVM(deal.client, currencies);
    ofClient -= clientBefore;
    StoreInMeans(deal.client, &Domain::Means::VMReserve, GetVMReserve(deal.client));

    const ClosedVM firmBefore = ReadClosedVM(firm, currencies);
    const t_bround_int firmReserveBefore = firm.GetMeans().VMReserve;
    BookOnLevel(deal.firmLevel, deal.clientLevel, book);
    TakeOver(firm, ofClient);
    ClosedVM ofFirm = ReadClosedVM(firm, currencies);
    ofFirm -= firmBefore;

    BookOnLevel(deal.accountLevel, deal.firmLevel, book);
    TakeOver(*deal.account, ofFirm, firm.GetMeans().VMReserve - firmReserveBefore);
}

void CountPositions(const Deal& deal)
{
    const PosTradeVector& trades = deal.clientLevel.trades;
    std::size_t counted = 0;
    try {
        for (; counted < deal.legs.size(); ++counted)
            CountPosition(deal.client, deal.legs[counted], trades[counted].quantityTechnic);
    } catch (...) { // the entries of these stand: taking back needs no memory
        while (counted-- > 0)
            CountPosition(deal.client, deal.legs[counted], -trades[counted].quantityTechnic);
        throw;
    }
}

// Books on all levels or none: a level above may refuse what the client could take, since its sums are larger. A
// refused deal leaves no record behind either, since that would stand in the way of the position that a session starts
// with.
template <class Book>
void BookOnAllLevels(Deal& deal, const Book& book)
{
    const std::array<LevelBackup, 3> backups{LevelBackup(deal.clientLevel, deal.legs),
                                             LevelBackup(deal.firmLevel, deal.legs),
                                             LevelBackup(deal.accountLevel, deal.legs)};
    try {
        EnsureRecords(deal);
        BookUpward(deal, book);
        CountPositions(deal);
    } catch (...) {
        for (const LevelBackup& backup : backups)
            backup.Restore();
        throw;
    }
}

// Cost of a trade by its contracts, bought or sold. An instrument without legs costs nothing.
[[nodiscard]] t_bsum_int FixedFeeOf(const CPositionCalculator& accounting, std::int32_t instrumentId,
                                    std::int64_t quantity)
{
    if (accounting.GetTradeInstrument(instrumentId).instruments.empty()) return {};
    const std::int64_t contracts = quantity < 0 ? kv7base::WrappingSub(0, quantity) : quantity;
    return accounting.CalcFixedFee(contracts, instrumentId);
}

void ChargeFee(Deal& deal, t_bsum_int fee)
{
    if (deal.legs.empty()) return;
    deal.clientLevel.trades.front().deltaFee = fee;
    UpdateFee(deal.client, Rounded(fee));
}

// Takes the first three steps of a trade. Returns the code of CheckLeg before anything is booked.
[[nodiscard]] Z9ERR BookTrade(BraskClient& client, std::int32_t instrumentId, t_bprice_int price, std::int64_t quantity,
                              const pos::SyntheticDealPrices& syntheticPrices, LinkedAssumedVectors& vectors,
                              Isin& isin, const pos::SInstrTRD*& instrument)
{
    isin = 0;
    instrument = nullptr;
    Deal deal(client, vectors, nullptr);
    const CPositionCalculator& ofClient = client.GetPositionCalculator();
    const std::vector<pos::SInstrQuantity>& legs = ofClient.GetTradeInstrument(instrumentId).instruments;
    for (const pos::SInstrQuantity& leg : legs)
        if (const Z9ERR code = CheckLeg(deal, leg.instrCLR->isin); code != Z9ERR_OK) return code;
    const t_bsum_int fee = FixedFeeOf(ofClient, instrumentId, quantity); // one that does not fit is refused by now

    for (const pos::SInstrQuantity& leg : legs)
        deal.legs.emplace_back(*leg.instrCLR);
    Isin bookedIsin = 0;
    const pos::SInstrTRD* booked = nullptr;
    BookOnAllLevels(deal, [&](const Level& level, bool keepsAccounting) {
        CPositionCalculator& accounting = level.participant.GetPositionCalculator();
        if (keepsAccounting)
            accounting.ProcessTrade(instrumentId, price, quantity, syntheticPrices, level.trades, bookedIsin, booked,
                                    PremiumStyleApart);
        else
            accounting.ProcessTradeForHalfNettingAndGross(instrumentId, price, quantity, syntheticPrices, level.trades,
                                                          bookedIsin, booked);
    });
    ChargeFee(deal, fee);
    isin = bookedIsin;
    instrument = booked;
    return Z9ERR_OK;
}

[[nodiscard]] Z9ERR BookClearingTrade(BraskClient& client, Isin isin, t_bprice_int price, std::int64_t quantity,
                                      LinkedAssumedVectors& vectors, PositionSet& positions, bool reverse)
{
    Deal deal(client, vectors, &positions);
    const pos::SInstrCLR& instrument = client.GetPositionCalculator().InstrumentOfPosition(isin);
    if (const Z9ERR code = CheckLeg(deal, isin); code != Z9ERR_OK) return code;
    deal.legs.emplace_back(instrument);
    BookOnAllLevels(deal, [&](const Level& level, bool keepsAccounting) {
        CPositionCalculator& accounting = level.participant.GetPositionCalculator();
        if (keepsAccounting)
            accounting.ProcessTradeCLR(isin, price, quantity, level.trades, level.positions, reverse,
                                       PremiumStyleApart);
        else
            accounting.ProcessTradeCLRForHalfNettingAndGross(isin, price, quantity, level.trades, level.positions);
    });
    return Z9ERR_OK;
}

// Takes the last step: the risk books with GO, and the premium set aside. Serves vectors of either kind.
template <class Vectors>
[[nodiscard]] Z9ERR SetBooks(BraskClient& client, const Vectors& vectors)
{
    const Z9ERR code = margin_orchestrator::SetPosition(client, vectors);
    StoreInMeans(client, &Domain::Means::m_premiumBlocked, client.GetPremiumBlocked());
    return code;
}

// Carries a deal out with its vectors. `book` takes the first three steps.
template <class Book>
[[nodiscard]] Z9ERR CarryOut(BraskClient& client, LinkedAssumedVectors& vectors, const Book& book)
{
    const Z9ERR code = book(vectors);
    return code == Z9ERR_OK ? SetBooks(client, vectors) : code;
}

template <class Book>
[[nodiscard]] Z9ERR CarryOut(BraskClient& client, AssumedVectors& vectors, const Book& book)
{
    vectors.deltaPositions.clear();
    vectors.PosChecks.clear();
    vectors.deltaPositions.reserve(MaxLegs);
    vectors.PosChecks.reserve(MaxLegs);
    LinkedAssumedVectors linked{vectors.positionsTradesClient, vectors.positionsTradesBroker,
                                vectors.positionsTradesSettlementAccount};
    if (const Z9ERR code = book(linked); code != Z9ERR_OK) return code;
    const ClientCode clientCode = client.GetClientCode();
    for (const pos::SPosTrade& trade : vectors.positionsTradesClient) {
        vectors.deltaPositions.push_back({trade.isin, trade.quantityTechnic});
        vectors.PosChecks.push_back({clientCode, trade.isin, trade.quantity - trade.quantityTechnic, trade.quantity});
    }
    return SetBooks(client, vectors);
}

} // namespace

Z9ERR ProcessTrade(BraskClient& client, std::int32_t instrumentId, t_bprice_int price, std::int64_t quantity,
                   const pos::SyntheticDealPrices& syntheticPrices, LinkedAssumedVectors& vectors, Isin& isin,
                   const pos::SInstrTRD*& instrument)
{
    return CarryOut(client, vectors, [&](LinkedAssumedVectors& linked) {
        return BookTrade(client, instrumentId, price, quantity, syntheticPrices, linked, isin, instrument);
    });
}

Z9ERR ProcessTrade(BraskClient& client, std::int32_t instrumentId, t_bprice_int price, std::int64_t quantity,
                   const pos::SyntheticDealPrices& syntheticPrices, AssumedVectors& vectors, Isin& isin,
                   const pos::SInstrTRD*& instrument)
{
    return CarryOut(client, vectors, [&](LinkedAssumedVectors& linked) {
        return BookTrade(client, instrumentId, price, quantity, syntheticPrices, linked, isin, instrument);
    });
}

Z9ERR ProcessClearingTrade(BraskClient& client, Isin isin, t_bprice_int price, std::int64_t quantity,
                           LinkedAssumedVectors& vectors, PositionSet& positions, bool reverse)
{
    return CarryOut(client, vectors, [&](LinkedAssumedVectors& linked) {
        return BookClearingTrade(client, isin, price, quantity, linked, positions, reverse);
    });
}

Z9ERR ProcessClearingTrade(BraskClient& client, Isin isin, t_bprice_int price, std::int64_t quantity,
                           AssumedVectors& vectors, PositionSet& positions, bool reverse)
{
    return CarryOut(client, vectors, [&](LinkedAssumedVectors& linked) {
        return BookClearingTrade(client, isin, price, quantity, linked, positions, reverse);
    });
}

} // namespace money_orchestrator
