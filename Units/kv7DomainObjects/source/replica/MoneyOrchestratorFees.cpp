// Fees and penalties of the three levels.
#include "replica/MoneyLevels.h"
#include "z9log.h"

namespace money_orchestrator {

namespace {

constexpr const char* Category = "QuindalIM";

void UpdateInMeans(UpdateMode mode, ParticipantBase& participant, t_bround_int Domain::Means::*field,
                   t_bround_int value) noexcept
{
    const t_bround_int before = mode == UpdateMode::IncreaseValue ? participant.GetMeans().*field : t_bround_int();
    StoreInMeans(participant, field, before + value);
}

// Adds to a fee that never falls below zero. `text` takes the adjustment, the participant and the fee that would have
// resulted.
void AdjustInMeans(ParticipantBase& participant, t_bround_int Domain::Means::*field, t_bround_int delta,
                   const char* text)
{
    t_bround_int fee = participant.GetMeans().*field + delta;
    if (fee.IsNeg()) {
        KV7TRACE_WARNING_EX(Category, text, delta.AsDouble(), participant.GetParticipantCode(), fee.AsDouble());
        fee.SetZero();
    }
    StoreInMeans(participant, field, fee);
}

} // namespace

void UpdateParticipantFee(UpdateMode mode, ParticipantBase& participant, t_bround_int fee)
{
    UpdateInMeans(mode, participant, &Domain::Means::m_fee, fee);
}

void UpdateBraskClientBrokerFee(UpdateMode mode, BraskClient& client, t_bround_int fee)
{
    UpdateInMeans(mode, client, &Domain::Means::m_BrokerFee, fee);
}

void ClearParticipantFee(ParticipantBase& participant) { StoreInMeans(participant, &Domain::Means::m_fee, {}); }

void ClearBraskClientBrokerFee(BraskClient& client) { StoreInMeans(client, &Domain::Means::m_BrokerFee, {}); }

void ClearPenalty(BraskClient& client) { StoreInMeans(client, &Domain::Means::m_Penalty, {}); }

void ClearSettlementAccountFee(BraskSettlementAccount& account)
{
    ClearParticipantFee(account);
    for (BraskBroker* const broker : account.GetBrokers()) {
        ClearParticipantFee(*broker);
        for (BraskClient& client : broker->EnumerateClients())
            ClearParticipantFee(client);
    }
}

void AdjustParticipantFee(ParticipantBase& participant, t_bround_int delta)
{
    AdjustInMeans(participant, &Domain::Means::m_fee, delta,
                  "AdjustParticipantFee: Fee adjustment (%f) for participant %s was IGNORED because it would make "
                  "participant's fee negative (%f). Participant's fee has been cleared.");
}

void AdjustBraskClientBrokerFee(BraskClient& client, t_bround_int delta)
{
    AdjustInMeans(client, &Domain::Means::m_BrokerFee, delta,
                  "AdjustParticipantBrokerFee: Fee adjustment (%f) for participant %s was IGNORED because it would "
                  "make participant's fee negative (%f). Participant's fee has been cleared.");
}

void UpdatePenalty(BraskClient& client, t_bround_int penalty)
{
    if (!penalty.IsPositive()) {
        KV7TRACE_WARNING_EX(Category,
                            "UpdatePenalty: Penalty (%f) for participant %s was IGNORED due to its value is negative",
                            penalty.AsDouble(), client.GetParticipantCode());
        return;
    }
    UpdateInMeans(UpdateMode::IncreaseValue, client, &Domain::Means::m_Penalty, penalty);
}

void UpdateFee(BraskClient& client, t_bround_int fee)
{
    UpdateParticipantFee(UpdateMode::IncreaseValue, client, fee);
    UpdateParticipantFee(UpdateMode::IncreaseValue, client.GetBroker(), fee);
    UpdateParticipantFee(UpdateMode::IncreaseValue, *client.GetBroker().GetSettlementAccount(), fee);
}

void AdjustFee(BraskClient& client, t_bround_int delta)
{
    AdjustParticipantFee(client, delta);
    AdjustParticipantFee(client.GetBroker(), delta);
    AdjustParticipantFee(*client.GetBroker().GetSettlementAccount(), delta);
}

} // namespace money_orchestrator
