// Clients of whom only the code is known, and what holds for a client from its next session on.
#include "Broker.h"
#include "Client.h"

BraskClient::BraskClient(ClientCode code, BraskBroker& broker, bool checksEnabled,
                         const pos::PositionCalculatorInstruments& positionInstruments)
    : BraskClient(code, t_bprice_int(1), false, 0, t_weight_int(), checksEnabled, Enums::ClientRiskLevel::Default,
                  Enums::InvestorStatus::None, broker, positionInstruments)
{}

bool BraskClient::IsNotUseNOVNextSession() const noexcept
{
    return m_inheritNotUseNOVFromBrokerNextSession ? broker_.GetNotUseNOVClientDefaultNextSession()
                                                   : m_notUseNOVNextSession;
}

void BraskClient::SetNotUseNOVNextSession(bool notUseNOV, bool inheritFromBroker) noexcept
{
    m_notUseNOVNextSession = notUseNOV;
    m_inheritNotUseNOVFromBrokerNextSession = inheritFromBroker;
}
