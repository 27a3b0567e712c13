// A pass of recalculation: the books leave the current instruments for the changed ones, futures by futures, and the
// levels above follow.
#include "MarginOrchestrator.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <map>

#include "MarginRoad.h"
#include "RecalculationFailure.h"
#include "except.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecMultileg.h"
#include "z9log.h"

namespace margin_orchestrator {

namespace {

using namespace road;

/// Result of a recalculation: the first code other than 0, and whether something has to be repeated.
struct Outcome
{
    void Add(const Outcome& other) noexcept
    {
        KeepFirst(code, other.code);
        unfinished = unfinished || other.unfinished;
    }

    Z9ERR code = Z9ERR_OK;
    bool unfinished = false;
};

// The code of the exception that is being handled.
Z9ERR CodeOfException() noexcept
{
    try {
        throw;
    } catch (const kv7base::CZ9Error& error) {
        return error.GetCode();
    } catch (...) {
        return Z9ERR_COMMON_INTERNAL_ERROR;
    }
}

/// Name of a step in the log: "RecalcBrokerByIsin(AA01001, 12)".
class NameOfStep
{
public:
    NameOfStep(const BraskClient& client, Isin isin) noexcept
    {
        std::snprintf(m_text.data(), m_text.size(), "RecalcBrokerByIsin(%s, %d)", client.GetParticipantCode(), isin);
    }
    [[nodiscard]] const char* c_str() const noexcept { return m_text.data(); }

private:
    std::array<char, 64> m_text{};
};

// Takes one step of a client. A failure in it is logged, and the others go on.
template <class Step>
Outcome Attempt(const BraskClient& client, Isin isin, const Step& step) noexcept
{
    const NameOfStep name(client, isin);
    try {
        const Z9ERR code = step();
        if (code != Z9ERR_OK)
            KV7TRACE_ERROR_WITH_CODE_EX(code, "QuindalIM", "%s: Risks recalculation failed.", name.c_str());
        return {code, false};
    } catch (...) {
        LogFailedRecalculation(name.c_str());
        return {CodeOfException(), true};
    }
}

// Rebuilds the futures in the participant's own portfolio, which reads it from the new objects from here on. When it
// throws, the position is still on the old objects, and the view too unless it had left them before.
Z9ERR RecalcOwnPortfolio(ParticipantBase& participant, Isin isin, bool useRealCalcPrice)
{
    const bool isNew = participant.GetInstrumentsForUpdate().SetRecalculated(isin);
    kv7im::Portfolio& book = participant.GetPortfolio();
    if (book.GetFuturesPositionByIsin(isin) == nullptr) return Z9ERR_OK;
    try {
        return book.RecalcFuturesPositionInPortfolio(isin, useRealCalcPrice);
    } catch (...) {
        if (isNew) participant.GetInstrumentsForUpdate().ResetRecalculated(isin);
        throw;
    }
}

// Collects the changes of the client's losses on this futures.
Z9ERR GatherDeltas(BraskClient& client, Isin isin, kv7im::RolledUpRisksVector& deltas)
{
    kv7im::Portfolio& book = client.GetPortfolio();
    const kv7im::CumulativePositionByFutures* const position = book.GetFuturesPositionByIsin(isin);
    if (position != nullptr) book.GetAllDeltaRolledUpRiskNodesByFutures(*position, deltas);
    return Z9ERR_OK;
}

// Rebuilds the two books of a client, collects its changes for the levels above, and renews its money. A book that
// answers with a code has changed all the same, so its changes go up; a book that has thrown stands as it stood.
Outcome RecalcClient(BraskClient& client, Isin isin, bool useRealCalcPrice, bool takesLosses,
                     kv7im::RolledUpRisksVector& deltas) noexcept
{
    Outcome outcome = Attempt(client, isin, [&] { return RecalcOwnPortfolio(client, isin, useRealCalcPrice); });
    if (outcome.unfinished) return outcome;
    outcome.Add(Attempt(client, isin, [&] {
        return client.RecalcFuturesPositionInPortfolioWithoutEquityOptions(isin, useRealCalcPrice);
    }));
    outcome.Add(Attempt(client, isin, [&] { return client.RecalcRestingPortfolioWithoutEquityOptions(isin); }));
    if (takesLosses) outcome.Add(Attempt(client, isin, [&] { return GatherDeltas(client, isin, deltas); }));
    outcome.Add(Attempt(client, isin, [&] {
        UpdateParticipantMeans(client);
        return Z9ERR_OK;
    }));
    return outcome;
}

Outcome RecalcBroker(BraskBroker& broker, Isin isin, bool useRealCalcPrice)
{
    const BraskSettlementAccountPtr& account = broker.GetSettlementAccount();

    // A level that takes losses reads from the new objects where the isin belongs. It is marked first: once the clients
    // have reported their changes, nothing may fail on the way to the levels that take them.
    LevelsAbove above(broker, *account);
    const bool takesLosses = above.SomeTakesLosses();
    if (takesLosses && broker.GetMarginRule() != Enums::MarginRule::Netting)
        broker.GetInstrumentsForUpdate().SetRecalculated(isin);
    if (account->GetMarginRule() == Enums::MarginRule::HalfNetting)
        account->GetInstrumentsForUpdate().SetRecalculated(isin);

    // The clients that hold the futures.
    kv7im::RolledUpRisksVector deltas;
    Outcome outcome;
    for (BraskClient* const client : broker.EnumerateClientsToRecalc(isin))
        outcome.Add(RecalcClient(*client, isin, useRealCalcPrice, takesLosses, deltas));

    // The levels above. A firm whose own book fails must not keep the account from the changes of the clients, which
    // are reported only once.
    try {
        above.MakeRoomFor(deltas);
    } catch (...) { // the clients will not report these changes again
        above.SetBehind();
        throw;
    }
    std::exception_ptr failureOfFirm;
    CarryUpFromClients(
        above, deltas,
        [&] {
            try {
                KeepFirst(outcome.code, RecalcOwnPortfolio(broker, isin, useRealCalcPrice));
            } catch (...) {
                failureOfFirm = std::current_exception();
            }
        },
        [&] { KeepFirst(outcome.code, RecalcSettlementAccountByIsin(*account, isin, useRealCalcPrice)); });
    if (failureOfFirm != nullptr) std::rethrow_exception(failureOfFirm);
    return outcome;
}

// The futures that a pass rebuilds; true for those of an open family. The orders in a multileg remember the prices of
// both its legs, so a leg is rebuilt with the other one even where its own family has not changed; its positions keep
// their prices then.
std::map<Isin, bool> FuturesToRecalculate(const kv7im::InstrumentsRepository& instruments)
{
    std::map<Isin, bool> isOpen;
    for (const kv7im::FuturesNode& node : instruments.RangeFuturesByStatus(kv7im::Status::WasChanged)) {
        isOpen[node.GetIsin()] = true;
        for (const kv7im::CSpecMultileg& multileg : instruments.RangeMultilegByFirstLegIsin(node.GetIsin()))
            isOpen.try_emplace(multileg.GetSecondLegIsin(), false);
        for (const kv7im::CSpecMultileg& multileg : instruments.RangeMultilegBySecondLegIsin(node.GetIsin()))
            isOpen.try_emplace(multileg.GetFirstLegIsin(), false);
    }
    return isOpen;
}

bool HasBooksToRecalculate(BraskBroker& firm)
{
    if (firm.GetPortfolio().StandsOnChangedInstruments()) return true;
    const auto clients = firm.EnumerateClients();
    return std::any_of(clients.begin(), clients.end(), [](const BraskClient& client) {
        return client.GetPortfolio().StandsOnChangedInstruments() ||
               client.GetPortfolioWithoutEquityOptions().StandsOnChangedInstruments();
    });
}

// Takes the sums of a firm and its account anew where changes have got lost on the way to them. All clients are on the
// new objects by now.
void MakeUpForLostChanges(BraskBroker& firm)
{
    LevelsAbove above(firm, *firm.GetSettlementAccount());
    if (!above.AreBehind()) return;
    above.TakeAnew();
    CarryUpFromClients(above, {});
}

// Ends the pass for one participant. The account of firms without one is shared with other calculators: it is under
// Gross, so it is never marked, and its set is not written here.
void EndRecalculationOf(ParticipantBase& participant) noexcept
{
    kv7im::InstrumentsRepositoryWrapper& instruments = participant.GetInstrumentsForUpdate();
    if (instruments.CountRecalculatedIsins() != 0) instruments.ResetRecalculated();
}

} // namespace

Z9ERR RecalcBrokerByIsin(BraskBroker& broker, Isin isin, bool useRealCalcPrice)
{
    return RecalcBroker(broker, isin, useRealCalcPrice).code;
}

Z9ERR RecalcSettlementAccountByIsin(BraskSettlementAccount& account, Isin isin, bool useRealCalcPrice)
{
    if (account.GetMarginRule() != Enums::MarginRule::Netting || account.GetInstruments().IsRecalculated(isin))
        return Z9ERR_OK;
    const Z9ERR code = RecalcOwnPortfolio(account, isin, useRealCalcPrice);
    UpdateParticipantMeans(account);
    return code;
}

Z9ERR RecalcChangedInstruments(ParticipantRepository& participants, kv7im::InstrumentsRepository& instruments,
                               bool useRealCalcPrice)
{
    // All books, from the clients upward; then the accounts that no firm belongs to.
    instruments.AdoptNewcomers();
    Outcome outcome;
    for (const auto& [isin, isOpen] : FuturesToRecalculate(instruments)) {
        const bool settles = useRealCalcPrice && isOpen;
        for (BraskBroker& firm : participants.EnumerateBrokers())
            outcome.Add(RecalcBroker(firm, isin, settles));
        for (const BraskSettlementAccountPtr& account : participants.EnumerateSettlementAccounts())
            KeepFirst(outcome.code, RecalcSettlementAccountByIsin(*account, isin, settles));
    }

    // The changes are released only when no book needs the old objects any more.
    if (outcome.unfinished || HasBooksToRecalculate(participants)) return Z9ERR_RECALC_BROKER_NOT_CONSISTENTLY;
    for (BraskBroker& firm : participants.EnumerateBrokers())
        MakeUpForLostChanges(firm);
    instruments.ReleaseChanged();
    EndRecalculation(participants);
    return outcome.code;
}

bool HasBooksToRecalculate(ParticipantRepository& participants)
{
    for (BraskBroker& firm : participants.EnumerateBrokers())
        if (HasBooksToRecalculate(firm)) return true;
    const auto accounts = participants.EnumerateSettlementAccounts();
    return std::any_of(accounts.begin(), accounts.end(), [](const BraskSettlementAccountPtr& account) {
        return account->GetPortfolio().StandsOnChangedInstruments();
    });
}

void EndRecalculation(ParticipantRepository& participants) noexcept
{
    for (BraskBroker& firm : participants.EnumerateBrokers()) {
        for (BraskClient& client : firm.EnumerateClients())
            EndRecalculationOf(client);
        EndRecalculationOf(firm);
        EndRecalculationOf(*firm.GetSettlementAccount());
    }
    for (const BraskSettlementAccountPtr& account : participants.EnumerateSettlementAccounts())
        EndRecalculationOf(*account);
}

} // namespace margin_orchestrator
