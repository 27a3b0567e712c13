// A client moves to another firm: what goes with it, and what is entered again.
#include <vector>

#include "Broker.h"
#include "Client.h"
#include "instruments/SpecOrderList.h"

ParticipantBase::ParticipantBase(const ParticipantBase& source, kv7im::InstrumentsRepository& instrumentsRepository,
                                 const pos::PositionCalculatorInstruments& positionInstruments)
    : ParticipantBase({source.CollateralChecker.GetErrorCode(), source.CollateralChecker.Enabled(),
                       source.NClr2Delivery, source.ExpWeight, source.NoFutDiscount, source.marginRule_,
                       source.m_riskLevel, source.m_status},
                      instrumentsRepository, positionInstruments)
{
    m_means = source.m_means;
    m_calSpreadMarginType = source.m_calSpreadMarginType;
    interContractSpreadMarginType = source.interContractSpreadMarginType;
    shortOptionMinimumChargeRatio = source.shortOptionMinimumChargeRatio;
    m_amountMoneyOld = source.m_amountMoneyOld;

    // Each record is pointed at its instrument again; the sums are copied as they stand.
    for (const auto& [isin, position] : source.positionCalculator.GetPositions())
        positionCalculator.InsertPosition(position, false, false);
    positionCalculator.VM = source.positionCalculator.VM;
    positionCalculator.VMCurr = source.positionCalculator.VMCurr;
    positionCalculator.VMFull = source.positionCalculator.VMFull;
    positionCalculator.VMCurrFull = source.positionCalculator.VMCurrFull;
    positionCalculator.NetOptionValue = source.positionCalculator.NetOptionValue;
}

BraskClient::BraskClient(const BraskClient& source, BraskBroker& broker,
                         const pos::PositionCalculatorInstruments& positionInstruments)
    : ParticipantBase(source, broker.GetInstrumentsRepository(), positionInstruments),
      clientCode_(source.clientCode_),
      broker_(broker),
      clgoRatio(source.clgoRatio),
      m_autoUpdateLimit(source.m_autoUpdateLimit),
      ordersAndPositionsQuantitiesCounter(source.ordersAndPositionsQuantitiesCounter),
      quantitiesCounter(source.quantitiesCounter),
      isBlank(source.isBlank),
      m_notUseNOV(source.m_notUseNOV),
      m_premiumReservesCalculator(source.m_premiumReservesCalculator),
      m_portfolioWithoutEquityOptions(this),
      m_notUseNOVNextSession(source.m_notUseNOVNextSession),
      m_inheritNotUseNOVFromBrokerNextSession(source.m_inheritNotUseNOVFromBrokerNextSession)
{}

void BraskClient::SetPositionsOf(const BraskClient& source)
{
    for (const auto& [isin, cumulative] : source.portfolio.RangePositions()) {
        SetPositionInBothPortfolios(isin, cumulative.GetFuturesPositionSpec(), 0);
        for (const auto& [optionIsin, option] : cumulative.RangeOptions())
            SetPositionInBothPortfolios(optionIsin, *option,
                                        positionCalculator.GetAfterLastClearingQuantityByIsin(optionIsin));
    }
}

// Sets a position in the two books. An instrument that is gone here takes its position with it, as in a refresh, so its
// code is ignored.
void BraskClient::SetPositionInBothPortfolios(Isin isin, const kv7im::CSpecPosition& position, std::int64_t novQuantity)
{
    static_cast<void>(portfolio.SetPosition(isin, position.GetQuantity(), position.GetWAPrice(), novQuantity));
    SetPositionInPortfolioWithoutEquityOptions(isin, position.GetQuantity(), position.GetWAPrice(), novQuantity);
    if (position.GetOrders().empty()) return;
    const std::vector<SClearingDeltaOrder> orders = OrderRecordsOf(isin, position.GetOrders());
    static_cast<void>(portfolio.ChangeOrder(isin, orders.size(), orders.data()));
    ChangeOrderInPortfolioWithoutEquityOptions(isin, orders.size(), orders.data());
}

void BraskBroker::RemoveClient(BraskClient& client) noexcept
{
    for (auto entry = clientsToRecalc_.begin(); entry != clientsToRecalc_.end();) {
        entry->second.erase(&client);
        entry = entry->second.empty() ? clientsToRecalc_.erase(entry) : std::next(entry);
    }
    clients_.erase(client.GetClientCode());
}
