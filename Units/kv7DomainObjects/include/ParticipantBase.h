// ParticipantBase: the common part of a client, a firm and a settlement account: a risk book, an accounting of
// positions, a money block, and the parameters of the margin.
//
// Always true:  a participant stands at one address for life, since its portfolio knows it by that address.
//               rule, risk level and investor status are those of the registration.
// Numbers:      ExpWeight is a share in hundredths, 1.00 is all delivery margin. GetInitialMargin is money, a
//               multiple of a cent, rounded up.
#pragma once

#include <cstdint>
#include <string>

#include "Enums.h"
#include "Means.h"
#include "PositionCalculator.h"
#include "TradingLimitMessages.h"
#include "book/Portfolio.h"
#include "book/RiskParticipant.h"
#include "currencytype.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "replica/CollateralChecker.h"

class ParticipantBase : public kv7im::RiskParticipant
{
public:
    ~ParticipantBase() override = default;
    ParticipantBase(const ParticipantBase&) = delete;
    ParticipantBase& operator=(const ParticipantBase&) = delete;

    /// Closed variation margin of all positions, money.
    [[nodiscard]] virtual t_bsum_int GetVMCloseTotal() const;
    /// The part of the closed variation margin that base contracts keep per currency.
    [[nodiscard]] virtual const VMCloseByCurrencies& GetVMCloseByCurrencies() const;
    [[nodiscard]] virtual kv7im::InstrumentsRepository& GetInstrumentsRepository();
    [[nodiscard]] virtual const kv7im::InstrumentsRepository& GetInstrumentsRepository() const;
    /// Text of the code that the participant is registered under; lives as long as the participant.
    [[nodiscard]] virtual const char* GetParticipantCode() const noexcept = 0;
    /// GO of the level: money, rounded to five decimals and then up to cents.
    [[nodiscard]] virtual double GetInitialMargin() const = 0;
    void NewPositionAddedToPortfolio(const kv7im::CumulativePositionByFutures& position) override;
    /// 1.0 by default: only a client's margin is scaled by the ratios that its firm agreed, never the firm's own
    /// margin.
    [[nodiscard]] double GetBrokerBaseContractGORatio(const std::string& baseContractCode) const override;
    [[nodiscard]] double GetBrokerBaseContractGORatioForMCS(const std::string& mcsCode) const override;
    /// Premium reserved, cents; zero where none is kept.
    [[nodiscard]] virtual t_bround_int GetPremiumBlocked() const;

    // What the risk engine reads.
    [[nodiscard]] Enums::ClientRiskLevel GetRiskLevel() const override { return m_riskLevel; }
    [[nodiscard]] bool GetNoFutDiscount() const override { return NoFutDiscount; }
    [[nodiscard]] Enums::SpreadMarginType GetCalSpreadMarginType() const override { return m_calSpreadMarginType; }
    [[nodiscard]] Enums::SpreadMarginType GetInterContractSpreadMarginType() const override
    {
        return interContractSpreadMarginType;
    }
    [[nodiscard]] double GetShortOptionMinimumChargeRatio() const override { return shortOptionMinimumChargeRatio; }
    [[nodiscard]] std::int64_t GetAfterLastClearingQuantityByIsin(Isin isin) const override
    {
        return positionCalculator.GetAfterLastClearingQuantityByIsin(isin);
    }
    [[nodiscard]] const kv7im::InstrumentsRepositoryWrapper& GetInstruments() const override
    {
        return instrumentsRepositoryWapper_;
    }

    // A parameter that changes acts on what is computed from then on; existing positions keep their risk.
    void SetNoFutDiscount(bool value) noexcept { NoFutDiscount = value; }
    void SetCalSpreadMarginType(Enums::SpreadMarginType value) noexcept { m_calSpreadMarginType = value; }
    void SetInterContractSpreadMarginType(Enums::SpreadMarginType value) noexcept
    {
        interContractSpreadMarginType = value;
    }
    void SetShortOptionMinimumChargeRatio(double value) noexcept { shortOptionMinimumChargeRatio = value; }

    /// Clearings before expiry from which delivery risk counts.
    [[nodiscard]] std::int32_t GetNClr2Delivery() const noexcept { return NClr2Delivery; }
    void SetNClr2Delivery(std::int32_t value) noexcept { NClr2Delivery = value; }
    [[nodiscard]] t_weight_int GetExpWeight() const noexcept { return ExpWeight; }
    void SetExpWeight(t_weight_int value) noexcept { ExpWeight = value; }
    [[nodiscard]] Enums::MarginRule GetMarginRule() const noexcept { return marginRule_; }
    [[nodiscard]] Enums::InvestorStatus GetInvestorStatus() const noexcept { return m_status; }

    [[nodiscard]] const kv7im::Portfolio& GetPortfolio() const noexcept { return portfolio; }
    [[nodiscard]] kv7im::Portfolio& GetPortfolio() noexcept { return portfolio; }
    [[nodiscard]] const CPositionCalculator& GetPositionCalculator() const noexcept { return positionCalculator; }
    [[nodiscard]] CPositionCalculator& GetPositionCalculator() noexcept { return positionCalculator; }
    /// The view of the instruments, for marking what a pass has recalculated.
    [[nodiscard]] kv7im::InstrumentsRepositoryWrapper& GetInstrumentsForUpdate() noexcept
    {
        return instrumentsRepositoryWapper_;
    }

    [[nodiscard]] const Domain::Means& GetMeans() const noexcept { return m_means; }
    [[nodiscard]] Domain::Means& GetMeansForUpdate() noexcept { return m_means; }

    // Replica: the participant's money beside its margin, as a host sets it.

    [[nodiscard]] const BraskCollateralChecker& GetCollateralChecker() const noexcept { return CollateralChecker; }
    [[nodiscard]] BraskCollateralChecker& GetCollateralChecker() noexcept { return CollateralChecker; }
    void SetMTM(t_bround_int value) noexcept { m_means.m_MTM = value; }
    /// Stores the exchange's fee and renews the sums that follow; the blocked margin stays as it is.
    void UpdateFee(t_bround_int fee) noexcept;
    /// Stores the penalty and renews what follows from it; the blocked margin stays as it is.
    void UpdatePenalty(t_bround_int penalty) noexcept;
    /// The present money and pledge; needCalcGO is false.
    [[nodiscard]] TradingLimits GetTradingLimits() const noexcept;
    /// Stores money and pledge and renews the sums that follow, with the present GO where needCalcGO is set.
    void SetTradingLimits(const TradingLimits& limits);
    [[nodiscard]] t_bround_int GetAmountMoneyOld() const noexcept { return m_amountMoneyOld; }
    void SetAmountMoneyOld(t_bround_int value) noexcept { m_amountMoneyOld = value; }

protected:
    /// Parameters that a level sets at registration.
    struct Parameters
    {
        Z9ERR collateralErrorCode;
        bool collateralChecksEnabled;
        std::int32_t nClr2Delivery;
        t_weight_int expWeight;
        bool noFutDiscount;
        Enums::MarginRule marginRule;
        Enums::ClientRiskLevel riskLevel;
        Enums::InvestorStatus status;
    };

    /// The dictionaries outlive the participant.
    ParticipantBase(const Parameters& parameters, kv7im::InstrumentsRepository& instrumentsRepository,
                    const pos::PositionCalculatorInstruments& positionInstruments);

    // Replica.

    /// Copies parameters, money and accounting of another participant; the risk book starts empty.
    ParticipantBase(const ParticipantBase& source, kv7im::InstrumentsRepository& instrumentsRepository,
                    const pos::PositionCalculatorInstruments& positionInstruments);

    // Changes of the money limit. Each renews the sums that follow, with the present blocked margin. A mode that is not
    // allowed is logged and gives Z9ERR_COMMON_WRONG_ARGUMENTS, with nothing changed.

    /// DelMoney and DelAll leave no money. With `flag` set, Set makes the money the amount and ChangeBy adds the
    /// amount.
    Z9ERR ChangeAmountMoney(Enums::ChangeMoneyMode mode, bool flag, t_bround_int amount);
    Z9ERR ChangeTradingLimits(const MSChangeBFLimitInt& message);
    /// Changes the money by the text of a message; the modes are Set and ChangeBy. A text that is no amount gives the
    /// code of reading it, a text with a zero in it Z9ERR_COMMON_WRONG_ARGUMENTS, with nothing changed.
    Z9ERR ChangeTradingLimits(const MSChangeBFLimitNTA& message);

    BraskCollateralChecker CollateralChecker;
    std::int32_t NClr2Delivery; // clearings before expiry from which delivery risk counts
    t_weight_int ExpWeight;     // weight of the delivery margin, 0.00 to 1.00
    bool NoFutDiscount;         // true: a futures is never valued better than at the settlement price
    const Enums::MarginRule marginRule_;
    Domain::Means m_means;
    kv7im::InstrumentsRepository& instrumentsRepository_;
    kv7im::InstrumentsRepositoryWrapper instrumentsRepositoryWapper_;
    CPositionCalculator positionCalculator;
    kv7im::Portfolio portfolio;
    Enums::SpreadMarginType m_calSpreadMarginType = Enums::SpreadMarginType::HalfNetting;
    Enums::SpreadMarginType interContractSpreadMarginType = Enums::SpreadMarginType::HalfNetting;
    double shortOptionMinimumChargeRatio = 1.0; // factor on the charges, 1.0 leaves them
    t_bround_int m_amountMoneyOld;              // money at the start of the session
    const Enums::ClientRiskLevel m_riskLevel;
    const Enums::InvestorStatus m_status;
};
