// BraskClient: the lowest level of the account tree, the one that trades.
//
// Always true:  a client belongs to one firm for life and is destroyed with it. Its rule is Netting: all it holds nets.
//               the book without premium-style options is kept only while IsNotUseNOV holds.
// Numbers:      NClr2Delivery -1 and ExpWeight -1.00 mean "as the firm has it for its clients".
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "ParticipantBase.h"
#include "PremiumReserves.h"
#include "TradingCodes.h"
#include "instruments/SpecOrderList.h"
#include "replica/QuantitiesCounters.h"

class BraskBroker;

/// Parameters of a client's margin that may change after its registration.
struct ClientRiskParameters
{
    t_bprice_int clgoRatio;         // multiplier of the client's GO
    t_weight_int expWeight;         // -1.00 as the firm has it for its clients
    std::int32_t nClr2Delivery = 0; // -1 as the firm has it for its clients
    bool noFutDiscount = false;     // a futures is never valued better than settled
    bool autoUpdateLimit = false;   // carried only
    Enums::ClientRiskLevel clientRiskLevel = Enums::ClientRiskLevel::Default; // fixed at registration: not applied
};

class BraskClient final : public ParticipantBase
{
public:
    /// Corrects out-of-range values with a warning: NClr2Delivery below -1 and ExpWeight below 0 (other than -1.00)
    /// become 0, ExpWeight above 1.00 becomes 1.00. checksEnabled: whether the collateral of this client is checked.
    BraskClient(ClientCode code, t_bprice_int clgoRatio_, bool noFutDiscount, std::int32_t nClr2Delivery,
                t_weight_int expWeight, bool checksEnabled, Enums::ClientRiskLevel riskLevel,
                Enums::InvestorStatus status, BraskBroker& broker,
                const pos::PositionCalculatorInstruments& positionInstruments);

    [[nodiscard]] const char* GetParticipantCode() const noexcept override { return clientCode_.c_str(); }
    /// GO of the client, money, rounded: weighted margin of the book that counts, times clgoRatio. The firm's weight
    /// replaces -1.00.
    [[nodiscard]] double GetInitialMargin() const override;
    /// Deliveries of a series count from NClr2Delivery clearings before its expiry on, the firm's number for -1; those
    /// of a series without clearings for clients never count.
    [[nodiscard]] bool WeHaveToCalcDeliveryRisk(const kv7im::CSpecOption* option) const override;
    /// Marks the client at its firm, so that a change of this futures finds it.
    void NewPositionAddedToPortfolio(const kv7im::CumulativePositionByFutures& position) override;
    /// Multiplier that the firm agreed for the base contract, otherwise 1.0.
    [[nodiscard]] double GetBrokerBaseContractGORatio(const std::string& baseContractCode) const override;
    /// The largest multiplier over the base contracts of the MCS, 1.0 for each without an agreement; 0.0 for an MCS
    /// without base contracts.
    [[nodiscard]] double GetBrokerBaseContractGORatioForMCS(const std::string& mcsCode) const override;

    [[nodiscard]] ClientCode GetClientCode() const noexcept { return clientCode_; }
    [[nodiscard]] const BraskBroker& GetBroker() const noexcept { return broker_; }
    [[nodiscard]] BraskBroker& GetBroker() noexcept { return broker_; }
    /// Multiplier of the client's GO.
    [[nodiscard]] t_bprice_int GetClgoRatio() const noexcept { return clgoRatio; }
    void SetClgoRatio(t_bprice_int value) noexcept { clgoRatio = value; }

    /// The present parameters; clientRiskLevel is always Default.
    [[nodiscard]] ClientRiskParameters GetRiskParameters() const noexcept;
    /// Sets other parameters. The book is rebuilt where discount, clearings or weight differ, and the money block is
    /// renewed where the ratio differs. clientRiskLevel is not applied, and nothing is checked. A failure is logged and
    /// thrown on; everything is as it was then.
    void SetRiskParameters(const ClientRiskParameters& parameters);

    /// True when premium-style options stay out of the margin.
    [[nodiscard]] bool IsNotUseNOV() const noexcept;
    /// Sets whether premium-style options stay out of the margin: -1 as the firm has it for its clients, 0 no, anything
    /// else yes. This does not fill the book without premium-style options: positions set from now on enter it.
    void SetNotUseNOV(std::int32_t value) noexcept { m_notUseNOV = value; }

    /// Sets a position in the book without premium-style options. Does nothing and returns 0 for a premium-style option
    /// and while IsNotUseNOV is false.
    Z9ERR SetPositionInPortfolioWithoutEquityOptions(Isin isin, std::int64_t quantity, double price,
                                                     std::int64_t volume);
    /// Sets a position in the book without premium-style options in the mode of positions alone, which values it by its
    /// cost basis and a market price. Does nothing and returns 0 for a premium-style option and while IsNotUseNOV is
    /// false.
    Z9ERR SetPositionInPortfolioWithoutEquityOptions_PositionsOnly(Isin isin, std::int64_t quantity, double price,
                                                                   double marketPrice, std::int64_t volume);
    /// Changes orders in the book without premium-style options. Does nothing and returns 0 for a premium-style option
    /// and while IsNotUseNOV is false.
    Z9ERR ChangeOrderInPortfolioWithoutEquityOptions(Isin isin, std::size_t count, const SClearingDeltaOrder* orders);
    /// Whether positions and orders of an instrument enter the book without premium-style options.
    [[nodiscard]] bool KeepsWithoutEquityOptions(Isin isin) const;
    [[nodiscard]] kv7im::Portfolio& GetPortfolioWithoutEquityOptions() noexcept
    {
        return m_portfolioWithoutEquityOptions;
    }
    /// Rebuilds the book without premium-style options; does nothing and returns 0 while IsNotUseNOV is false.
    Z9ERR RefreshPortfolioWithoutEquityOptions();
    /// Rebuilds one futures of the book without premium-style options. Does nothing and returns 0 while IsNotUseNOV is
    /// false and where the book holds no position on it.
    Z9ERR RecalcFuturesPositionInPortfolioWithoutEquityOptions(Isin isin, bool useRealCalcPrice);
    /// Rebuilds one futures of the book without premium-style options while it rests, that is while IsNotUseNOV is
    /// false and the book counts for nothing: it must not be left on instruments that are about to go. Does nothing
    /// while IsNotUseNOV holds.
    Z9ERR RecalcRestingPortfolioWithoutEquityOptions(Isin isin);
    /// Premium of open buys set aside, in cents, cut off toward minus infinity.
    [[nodiscard]] t_bround_int GetPremiumBlocked() const override;
    [[nodiscard]] const PremiumReservesCalculator& GetPremiumReservesCalculator() const noexcept
    {
        return m_premiumReservesCalculator;
    }
    [[nodiscard]] PremiumReservesCalculator& GetPremiumReservesCalculator() noexcept
    {
        return m_premiumReservesCalculator;
    }
    [[nodiscard]] const kv7im::Portfolio& GetPortfolioWithoutEquityOptions() const noexcept
    {
        return m_portfolioWithoutEquityOptions;
    }

    // Replica: what the clearing system keeps of a client beside its margin.

    /// A client by its code alone: ratio 1.00000, NClr2Delivery 0, ExpWeight 0, default risk level.
    BraskClient(ClientCode code, BraskBroker& broker, bool checksEnabled,
                const pos::PositionCalculatorInstruments& positionInstruments);
    /// The client of another firm under this one: code, parameters, money, premium reserves and accounting. The risk
    /// book starts empty (SetPositionsOf fills it).
    BraskClient(const BraskClient& source, BraskBroker& broker,
                const pos::PositionCalculatorInstruments& positionInstruments);
    /// Enters the other client's positions and open orders into the two books, each position at its average price; the
    /// net option value follows the quantities that the accounting took over. Positions and orders in an instrument
    /// that is unknown here are dropped.
    void SetPositionsOf(const BraskClient& source);

    /// Changes the client's money: DelMoney and DelAll leave none; with `flag` set, Set makes it the amount and
    /// ChangeBy adds the amount. The pledge stays. The derived sums are renewed with the present blocked margin. Any
    /// other mode is logged and gives Z9ERR_COMMON_WRONG_ARGUMENTS, with nothing changed.
    Z9ERR ChangeTradingLimits(Enums::ChangeMoneyMode mode, bool flag, t_bround_int amount)
    {
        return ChangeAmountMoney(mode, flag, amount);
    }

    /// Whether premium-style options stay out of the margin from the next session on.
    [[nodiscard]] bool IsNotUseNOVNextSession() const noexcept;
    void SetNotUseNOVNextSession(bool notUseNOV, bool inheritFromBroker) noexcept;

    // Positions and orders of the client, in contracts. Deals count here; positions and orders set by SetPosition and
    // ChangeOrder enter the books only.
    [[nodiscard]] const OrdersAndPositionsQuantitiesCounter& GetOrdersAndPositionsQuantitiesCounter() const noexcept
    {
        return ordersAndPositionsQuantitiesCounter;
    }
    [[nodiscard]] OrdersAndPositionsQuantitiesCounter& GetOrdersAndPositionsQuantitiesCounter() noexcept
    {
        return ordersAndPositionsQuantitiesCounter;
    }
    [[nodiscard]] const QuantitiesCounter& GetQuantitiesCounter() const noexcept { return quantitiesCounter; }
    [[nodiscard]] QuantitiesCounter& GetQuantitiesCounter() noexcept { return quantitiesCounter; }
    /// True while only a place is made for the client, which is still to come.
    [[nodiscard]] bool IsBlank() const noexcept { return isBlank; }
    void SetBlank(bool value) noexcept { isBlank = value; }

private:
    void CorrectParameters();
    [[nodiscard]] bool HasBookParameters(const ClientRiskParameters& parameters) const noexcept;
    void SetBookParameters(const ClientRiskParameters& parameters) noexcept;
    void TakeBookAnew(const ClientRiskParameters& parameters);
    Z9ERR RecalcInPortfolioWithoutEquityOptions(Isin isin, bool useRealCalcPrice);
    void SetPositionInBothPortfolios(Isin isin, const kv7im::CSpecPosition& position, std::int64_t novQuantity);

    const ClientCode clientCode_;
    BraskBroker& broker_;
    t_bprice_int clgoRatio;         // multiplier of the client's GO, 1.00000 leaves it
    bool m_autoUpdateLimit = false; // carried only
    OrdersAndPositionsQuantitiesCounter ordersAndPositionsQuantitiesCounter;
    QuantitiesCounter quantitiesCounter;
    bool isBlank = false;          // carried only
    std::int32_t m_notUseNOV = -1; // -1 as the firm has it, 0 no, anything else yes
    PremiumReservesCalculator m_premiumReservesCalculator;
    kv7im::Portfolio m_portfolioWithoutEquityOptions;
    bool m_notUseNOVNextSession = false;
    bool m_inheritNotUseNOVFromBrokerNextSession = true;
};
