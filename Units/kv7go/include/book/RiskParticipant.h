// RiskParticipant: what the risk engine asks of the participant that it computes for.
//
// The engine stands on a lower floor than the account tree. It knows its participant only through this class, which
// every client, firm and settlement account implements.
#pragma once

#include <cstdint>
#include <string>

#include "Enums.h"

namespace kv7im {

class CSpecOption;
class CumulativePositionByFutures;
class InstrumentsRepositoryWrapper;

class RiskParticipant
{
public:
    virtual ~RiskParticipant() = default;

    /// Column of the instruments' risk parameters that margins this participant; fixed at registration.
    [[nodiscard]] virtual Enums::ClientRiskLevel GetRiskLevel() const = 0;

    /// True: a futures position is never valued better than at the settlement price.
    [[nodiscard]] virtual bool GetNoFutDiscount() const = 0;

    /// Netting between the futures of one base contract.
    [[nodiscard]] virtual Enums::SpreadMarginType GetCalSpreadMarginType() const = 0;

    /// Netting between the base contracts of one MCS.
    [[nodiscard]] virtual Enums::SpreadMarginType GetInterContractSpreadMarginType() const = 0;

    /// Factor on the charges DownRisk and UpRisk; 1.0 leaves them as the instrument gives them.
    [[nodiscard]] virtual double GetShortOptionMinimumChargeRatio() const = 0;

    /// Multiplier of the margin of one base contract; 1.0 where nothing was agreed.
    [[nodiscard]] virtual double GetBrokerBaseContractGORatio(const std::string& baseContractCode) const = 0;

    /// Multiplier of the margin of one MCS: the largest ratio over its base contracts.
    [[nodiscard]] virtual double GetBrokerBaseContractGORatioForMCS(const std::string& mcsCode) const = 0;

    /// Whether deliveries of this option count in the participant's margin; false for null.
    [[nodiscard]] virtual bool WeHaveToCalcDeliveryRisk(const CSpecOption* option) const = 0;

    /// Quantity of an option that the last clearing left, which its net option value counts; 0 where the accounting has
    /// no entry.
    [[nodiscard]] virtual std::int64_t GetAfterLastClearingQuantityByIsin(Isin isin) const = 0;

    /// Told once for every futures that the participant's portfolio begins to hold.
    virtual void NewPositionAddedToPortfolio(const CumulativePositionByFutures& position) = 0;

    /// The instruments that the participant's positions refer to.
    [[nodiscard]] virtual const InstrumentsRepositoryWrapper& GetInstruments() const = 0;

protected:
    RiskParticipant() = default;
    RiskParticipant(const RiskParticipant&) = default;
    RiskParticipant& operator=(const RiskParticipant&) = default;
};

} // namespace kv7im
