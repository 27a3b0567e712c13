#include "Client.h"

#include <vector>

#include "Broker.h"
#include "MarginOrchestrator.h"
#include "Primitives.h"
#include "RecalculationFailure.h"
#include "grids/Constants.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"
#include "z9log.h"

namespace {

constexpr std::int32_t InheritNClr2Delivery = -1;
constexpr t_weight_int InheritExpWeight = t_weight_int::FromPlain(-100); // -1.00

template <class Change>
auto WithFailuresLogged(const Change& change)
{
    try {
        return change();
    } catch (...) {
        LogFailedRecalculation("SetRiskParameters");
        throw;
    }
}

} // namespace

BraskClient::BraskClient(ClientCode code, t_bprice_int clgoRatio_, bool noFutDiscount, std::int32_t nClr2Delivery,
                         t_weight_int expWeight, bool checksEnabled, Enums::ClientRiskLevel riskLevel,
                         Enums::InvestorStatus status, BraskBroker& broker,
                         const pos::PositionCalculatorInstruments& positionInstruments)
    : ParticipantBase({Z9ERR_CLGO_NOT_ENOUGH, checksEnabled, nClr2Delivery, expWeight, noFutDiscount,
                       Enums::MarginRule::Netting, riskLevel, status},
                      broker.GetInstrumentsRepository(), positionInstruments),
      clientCode_(code),
      broker_(broker),
      clgoRatio(clgoRatio_),
      m_portfolioWithoutEquityOptions(this)
{
    CorrectParameters();
}

void BraskClient::CorrectParameters()
{
    if (NClr2Delivery < InheritNClr2Delivery) {
        KV7TRACE_WARNING_EX(
            "BraskClient", "When register client with Code(%s): NClr2Delivery(%d)<0 -> NClr2Delivery forcibly set to 0",
            clientCode_.c_str(), NClr2Delivery);
        NClr2Delivery = 0;
    }
    if (ExpWeight != InheritExpWeight && ExpWeight.IsNeg()) {
        KV7TRACE_WARNING_EX("BraskClient",
                            "When register client with Code(%s): ExpWeight(%f)<0 -> ExpWeight forcibly set to 0",
                            clientCode_.c_str(), ExpWeight.AsDouble());
        ExpWeight.SetZero();
    }
    if (ExpWeight > t_weight_int(1)) {
        KV7TRACE_WARNING_EX("BraskClient",
                            "When register client with Code(%s): ExpWeight(%f)>1 -> ExpWeight forcibly set to 1",
                            clientCode_.c_str(), ExpWeight.AsDouble());
        ExpWeight = t_weight_int(1);
    }
}

double BraskClient::GetInitialMargin() const
{
    const t_weight_int weight = ExpWeight == InheritExpWeight ? broker_.GetExpWeightClientDefault() : ExpWeight;
    const kv7im::Portfolio& book = IsNotUseNOV() ? m_portfolioWithoutEquityOptions : portfolio;
    return Domain::RoundInitialMargin(Domain::WeightedInitialMargin(weight, book.GetVolatilityInitialMargin(),
                                                                    book.GetDeliveryVolatilityInitialMargin()) *
                                      clgoRatio.AsDouble());
}

bool BraskClient::WeHaveToCalcDeliveryRisk(const kv7im::CSpecOption* option) const
{
    if (option == nullptr) return false;
    const std::int32_t clearings = option->VirtFutures->ExpClearingsCC;
    if (clearings < 1) return false;
    if (clearings <= NClr2Delivery) return true;
    return NClr2Delivery == InheritNClr2Delivery && clearings <= broker_.GetNClr2DeliveryClientDefault();
}

void BraskClient::NewPositionAddedToPortfolio(const kv7im::CumulativePositionByFutures& position)
{
    broker_.MarkClientToRecalc(position.GetIsin(), *this);
}

double BraskClient::GetBrokerBaseContractGORatio(const std::string& baseContractCode) const
{
    return broker_.GetBaseContractGORatio(baseContractCode);
}

double BraskClient::GetBrokerBaseContractGORatioForMCS(const std::string& mcsCode) const
{
    double largest = kv7im::Constants::MinimumBrokerBaseContractGORatio;
    for (const kv7im::BaseContractNode& member : instrumentsRepository_.RangeBaseContractByMCS(mcsCode)) {
        const double ratio = broker_.GetBaseContractGORatio(member.GetCode());
        largest = largest > ratio ? largest : ratio;
    }
    return largest;
}

ClientRiskParameters BraskClient::GetRiskParameters() const noexcept
{
    ClientRiskParameters parameters;
    parameters.clgoRatio = clgoRatio;
    parameters.expWeight = ExpWeight;
    parameters.nClr2Delivery = NClr2Delivery;
    parameters.noFutDiscount = NoFutDiscount;
    parameters.autoUpdateLimit = m_autoUpdateLimit;
    return parameters;
}

void BraskClient::SetRiskParameters(const ClientRiskParameters& parameters)
{
    if (!HasBookParameters(parameters)) WithFailuresLogged([&] { TakeBookAnew(parameters); });
    if (parameters.clgoRatio != clgoRatio) {
        clgoRatio = parameters.clgoRatio;
        m_means.Refresh(WithFailuresLogged([&] { return GetInitialMargin(); }));
    }
    m_autoUpdateLimit = parameters.autoUpdateLimit;
}

// The book depends on these three parameters: what a position or an order has put into it comes out by equal ones only.
bool BraskClient::HasBookParameters(const ClientRiskParameters& parameters) const noexcept
{
    return parameters.noFutDiscount == NoFutDiscount && parameters.nClr2Delivery == NClr2Delivery &&
           parameters.expWeight == ExpWeight;
}

void BraskClient::SetBookParameters(const ClientRiskParameters& parameters) noexcept
{
    NoFutDiscount = parameters.noFutDiscount;
    NClr2Delivery = parameters.nClr2Delivery;
    ExpWeight = parameters.expWeight;
}

// Rebuilds the book under other parameters. When it cannot be rebuilt, the client keeps the parameters that its book
// depends on.
void BraskClient::TakeBookAnew(const ClientRiskParameters& parameters)
{
    const ClientRiskParameters before = GetRiskParameters();
    SetBookParameters(parameters);
    try {
        static_cast<void>(margin_orchestrator::RefreshClientPortfolio(*this));
    } catch (...) {
        SetBookParameters(before);
        throw;
    }
}

bool BraskClient::IsNotUseNOV() const noexcept
{
    return m_notUseNOV == -1 ? broker_.GetNotUseNOVClientDefault() : m_notUseNOV != 0;
}

// Every instrument but a premium-style option; an isin of no option counts as one.
bool BraskClient::KeepsWithoutEquityOptions(Isin isin) const
{
    return IsNotUseNOV() && !GetInstrumentsRepository().IsEquityOption(isin);
}

Z9ERR BraskClient::SetPositionInPortfolioWithoutEquityOptions(Isin isin, std::int64_t quantity, double price,
                                                              std::int64_t volume)
{
    if (!KeepsWithoutEquityOptions(isin)) return Z9ERR_OK;
    return m_portfolioWithoutEquityOptions.SetPosition(isin, quantity, price, volume);
}

Z9ERR BraskClient::SetPositionInPortfolioWithoutEquityOptions_PositionsOnly(Isin isin, std::int64_t quantity,
                                                                            double price, double marketPrice,
                                                                            std::int64_t volume)
{
    if (!KeepsWithoutEquityOptions(isin)) return Z9ERR_OK;
    return m_portfolioWithoutEquityOptions.SetPosition_PositionsOnly(isin, quantity, price, marketPrice, volume);
}

Z9ERR BraskClient::ChangeOrderInPortfolioWithoutEquityOptions(Isin isin, std::size_t count,
                                                              const SClearingDeltaOrder* orders)
{
    if (!KeepsWithoutEquityOptions(isin)) return Z9ERR_OK;
    return m_portfolioWithoutEquityOptions.ChangeOrder(isin, count, orders);
}

Z9ERR BraskClient::RefreshPortfolioWithoutEquityOptions()
{
    return IsNotUseNOV() ? m_portfolioWithoutEquityOptions.Refresh() : Z9ERR_OK;
}

Z9ERR BraskClient::RecalcFuturesPositionInPortfolioWithoutEquityOptions(Isin isin, bool useRealCalcPrice)
{
    return IsNotUseNOV() ? RecalcInPortfolioWithoutEquityOptions(isin, useRealCalcPrice) : Z9ERR_OK;
}

Z9ERR BraskClient::RecalcRestingPortfolioWithoutEquityOptions(Isin isin)
{
    return IsNotUseNOV() ? Z9ERR_OK : RecalcInPortfolioWithoutEquityOptions(isin, false);
}

Z9ERR BraskClient::RecalcInPortfolioWithoutEquityOptions(Isin isin, bool useRealCalcPrice)
{
    if (m_portfolioWithoutEquityOptions.GetFuturesPositionByIsin(isin) == nullptr) return Z9ERR_OK;
    return m_portfolioWithoutEquityOptions.RecalcFuturesPositionInPortfolio(isin, useRealCalcPrice);
}

t_bround_int BraskClient::GetPremiumBlocked() const { return Floored(m_premiumReservesCalculator.GetPremiumBlocked()); }
