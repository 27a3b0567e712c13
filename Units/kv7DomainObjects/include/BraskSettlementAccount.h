// BraskSettlementAccount: the level that settles with the exchange; firms are bound to it. And BraskClearingBroker, the
// owner of such accounts.
//
// Always true:  an account that passed validateState has an id, an owner and one of the three rules.
//               m_brokers holds firms that live: a firm that is destroyed leaves the lists of all accounts.
// Numbers:      ExpWeight is 1.00: an account is margined by its delivery margin.
#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Enums.h"
#include "ParticipantBase.h"
#include "TradingCodes.h"
#include "replica/MarginCallRequirements.h"
#include "z9bcd.h"

class BraskBroker;

/// Clearing firm: a code under which settlement accounts are held.
class BraskClearingBroker
{
public:
    explicit BraskClearingBroker(ClearingBrokerCode code) noexcept : m_clearingBrokerCode(code) {}
    BraskClearingBroker(const BraskClearingBroker&) = delete;
    BraskClearingBroker& operator=(const BraskClearingBroker&) = delete;

    [[nodiscard]] ClearingBrokerCode GetClearingBrokerCode() const noexcept { return m_clearingBrokerCode; }

private:
    const ClearingBrokerCode m_clearingBrokerCode;
};
using BraskClearingBrokerPtr = std::shared_ptr<BraskClearingBroker>;

using t_settlement_account = char[13]; // twelve characters and a zero
using t_money = kv7base::CZ9BCD<16, 2>;

/// A settlement account and its money, as the exchange's record gives them.
struct SSettlementAccountMoneyStruct
{
    /// The text of Code, which ends at a zero or at the field's last byte.
    [[nodiscard]] std::string_view Id() const noexcept { return {Code, strnlen(Code, sizeof Code)}; }

    t_settlement_account Code = {};
    t_money AmountMoneyOld; // at the start of the session
    t_money Amount_money;
    t_money Amount_money_pledge;
    Enums::SpreadMarginType CalendarSpreadMarginType = Enums::SpreadMarginType::HalfNetting;
    double ShortOptionMinimumChargeRatio = 1.0;
    Enums::SpreadMarginType InterContractSpreadMarginType = Enums::SpreadMarginType::HalfNetting;
    t_money BlockedTax;
    t_money MTM;
};

class BraskSettlementAccount final : public ParticipantBase
{
public:
    /// Checks nothing; validateState does that. A sum that does not fit cents throws CZ9Error.
    BraskSettlementAccount(const SSettlementAccountMoneyStruct& money, Enums::MarginRule rule, bool isUnitedPool,
                           BraskClearingBrokerPtr owner, kv7im::InstrumentsRepository& instrumentsRepository,
                           const pos::PositionCalculatorInstruments& positionInstruments);

    /// Checks the account. Throws CZ9Error: Z9ERR_CHECK_INVALID_SETTLEMENT_ACCOUNT_ID for an empty id,
    /// Z9ERR_COMMON_ERROR for a missing owner or a rule other than Gross, HalfNetting and Netting.
    void validateState() const;

    [[nodiscard]] const char* GetParticipantCode() const noexcept override { return m_id.c_str(); }
    /// GO of the account, money, rounded: under Gross the running sum of the firms' GO, otherwise the account's own
    /// weighted margin.
    [[nodiscard]] double GetInitialMargin() const override;
    /// Deliveries of a series count from the first of its clearings for settlement accounts.
    [[nodiscard]] bool WeHaveToCalcDeliveryRisk(const kv7im::CSpecOption* option) const override;

    using ParticipantBase::ChangeTradingLimits;

    [[nodiscard]] const std::string& GetId() const noexcept { return m_id; }
    [[nodiscard]] const BraskClearingBrokerPtr& GetOwner() const noexcept { return m_owner; }
    [[nodiscard]] bool IsUnitedPool() const noexcept { return m_isUnitedPool; }

    /// Firms in the order of binding; a firm bound twice stands twice.
    [[nodiscard]] const std::vector<BraskBroker*>& GetBrokers() const noexcept { return m_brokers; }
    /// Adds a firm to the list. Called by BraskBroker::BindTo; the firm takes itself out again when it is destroyed.
    void BindBroker(BraskBroker& broker) { m_brokers.push_back(&broker); }
    /// Removes every entry of the firm from the list.
    void UnbindBroker(const BraskBroker& broker) noexcept;

    // Replica: the account's margin call.

    [[nodiscard]] const Domain::MarginCallRequirements& GetMarginCallRequirements() const noexcept
    {
        return m_marginCallRequirements;
    }
    void SetMarginCallRequirements(const Domain::MarginCallRequirements& value) noexcept
    {
        m_marginCallRequirements = value;
    }
    /// Fixes the account's present free money as a margin call if it is a deficit; false if it is none.
    bool FixMarginCallRequirements(kv7base::UnixNanosecondsTime moment);
    bool UpdateMarginCallRequirements(const t_bround& a, const t_bround& b)
    {
        return m_marginCallRequirements.Update(a, b);
    }
    bool ResetMarginCallRequirements() noexcept { return m_marginCallRequirements.Reset(); }

private:
    const std::string m_id;
    const BraskClearingBrokerPtr m_owner;
    std::vector<BraskBroker*> m_brokers; // not owned
    const bool m_isUnitedPool;
    Domain::MarginCallRequirements m_marginCallRequirements;
};
using BraskSettlementAccountPtr = std::shared_ptr<BraskSettlementAccount>;
