// Common parts of the money ledger: one field of a money block, the records of a level, and closed variation margin
// (VM) on its way from one level to the next.
#pragma once

#include <cstddef>
#include <cstdint>

#include <boost/container/static_vector.hpp>

#include "replica/MoneyOrchestrator.h"

namespace money_orchestrator {

/// Most legs that a deal moves: one, or the two of a spread.
inline constexpr std::size_t MaxLegs = 2;

/// Stores one field of a money block and renews the sums that follow.
void StoreInMeans(ParticipantBase& participant, t_bround_int Domain::Means::*field, t_bround_int value) noexcept;

/// True for a level under Netting, which books each trade with its price; any other level counts contracts.
[[nodiscard]] inline bool KeepsAccounting(const ParticipantBase& participant) noexcept
{
    return participant.GetMarginRule() == Enums::MarginRule::Netting;
}
/// False for the account that stands in where a firm has none: it knows no instruments.
[[nodiscard]] bool HasPositions(const ParticipantBase& participant);
/// True when the participant's risk book would find the futures or option.
[[nodiscard]] bool KnownToBooks(const ParticipantBase& participant, Isin isin);
/// The level's record of an isin; a missing one is made flat, since a booking passes over an isin without a record.
SPosition& EnsureRecord(ParticipantBase& participant, Isin isin);

/// A futures or an option that a deal moves.
struct Leg
{
    explicit Leg(const pos::SInstrCLR& instrument);

    ::Isin isin;
    Enums::InstrumentType type;
    const pos::SBaseContract* baseContract; // never null
};
using Legs = boost::container::static_vector<Leg, MaxLegs>;
/// Currencies (indicator indices) that the legs keep VM in, each once.
using Currencies = boost::container::static_vector<std::int32_t, MaxLegs>;
[[nodiscard]] Currencies CurrenciesOf(const Legs& legs);

/// The sums of closed VM of one level, or a change of them.
struct ClosedVM
{
    struct OfCurrency
    {
        std::int32_t currency = 0;
        bool isKept = false; // the level has an entry: premium-style options alone make none
        t_bsum_int amount;
        t_bsum_int full;
        bool isKeptInFull = true; // the level has an entry in the sum with premium-style options
    };

    ClosedVM& operator-=(const ClosedVM& other) noexcept; ///< The two have the same currencies.

    t_bsum_int total;
    t_bsum_int full; // premium-style options included
    boost::container::static_vector<OfCurrency, MaxLegs> byCurrency;
};
[[nodiscard]] ClosedVM ReadClosedVM(const ParticipantBase& participant, const Currencies& currencies);
/// Writes sums back that were read before; entries of currencies that were kept since then are dropped.
void WriteClosedVM(ParticipantBase& participant, const ClosedVM& sums) noexcept;

/// Adds the VM closed at the client to a firm that counts contracts, and renews the firm's reserve. A firm that keeps
/// accounting has booked its own VM: it takes nothing over, but its reserve is renewed too.
void TakeOver(BraskBroker& broker, const ClosedVM& below);
/// Adds the VM closed at the firm to an account that counts contracts, and renews the account's reserve by
/// firmReserveDelta. An account that keeps accounting has booked its own VM: it takes nothing over, but its reserve is
/// renewed too.
void TakeOver(BraskSettlementAccount& account, const ClosedVM& below, t_bround_int firmReserveDelta);

/// Counts the positions of the client that a deal has moved. Nothing is counted when it throws.
void CountPosition(BraskClient& client, const Leg& leg, std::int64_t deltaQuantity);

} // namespace money_orchestrator
