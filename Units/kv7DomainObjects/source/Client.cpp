#include "Client.h"

#include "Broker.h"
#include "Constants.h"
#include "InstrumentsRepository.h"
#include "Primitives.h"
#include "SpecOption.h"
#include "SpecVirtFutures.h"
#include "z9log.h"

namespace {

constexpr std::int32_t InheritNClr2Delivery = -1;
constexpr t_weight_int InheritExpWeight = t_weight_int::FromPlain(-100); // -1.00

// The side book takes everything that is no premium-style option; an isin of no option counts as something else.
bool ShouldSyncPortfolioWithoutEquityOptions(const BraskClient& client, Isin isin)
{
    return !client.GetInstrumentsRepository().IsEquityOption(isin);
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

BraskClient::BraskClient(ClientCode code, BraskBroker& broker, bool checksEnabled,
                         const pos::PositionCalculatorInstruments& positionInstruments)
    : BraskClient(code, t_bprice_int(1), false, 0, t_weight_int(), checksEnabled, Enums::ClientRiskLevel::Default,
                  Enums::InvestorStatus::None, broker, positionInstruments)
{}

BraskClient::BraskClient(const BraskClient& source, BraskBroker& broker,
                         const pos::PositionCalculatorInstruments& positionInstruments)
    : ParticipantBase(source, broker.GetInstrumentsRepository(), positionInstruments),
      clientCode_(source.clientCode_),
      broker_(broker),
      clgoRatio(source.clgoRatio),
      m_notUseNOV(source.m_notUseNOV),
      m_portfolioWithoutEquityOptions(this),
      m_notUseNOVNextSession(source.m_notUseNOVNextSession),
      m_inheritNotUseNOVFromBrokerNextSession(source.m_inheritNotUseNOVFromBrokerNextSession)
{}

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

void BraskClient::SetPositionsOf(const BraskClient& source)
{
    for (const auto& [isin, cumulative] : source.portfolio.RangePositions()) {
        const kv7im::CSpecPositionFutures& position = cumulative.GetFuturesPositionSpec();
        SetPositionInBothPortfolios(isin, position.GetQuantity(), position.GetWAPrice(), 0);
        for (const auto& [optionIsin, option] : cumulative.RangeOptions())
            SetPositionInBothPortfolios(optionIsin, option->GetQuantity(), option->GetWAPrice(),
                                        positionCalculator.GetAfterLastClearingQuantityByIsin(optionIsin));
    }
}

// An instrument that is gone here takes its position with it, as in a refresh: the code says no more than that.
void BraskClient::SetPositionInBothPortfolios(Isin isin, std::int64_t quantity, double price, std::int64_t novQuantity)
{
    static_cast<void>(portfolio.SetPosition(isin, quantity, price, novQuantity));
    SetPositionInPortfolioWithoutEquityOptions(isin, quantity, price, novQuantity);
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

bool BraskClient::IsNotUseNOV() const noexcept
{
    return m_notUseNOV == -1 ? broker_.GetNotUseNOVClientDefault() : m_notUseNOV != 0;
}

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

Z9ERR BraskClient::SetPositionInPortfolioWithoutEquityOptions(Isin isin, std::int64_t quantity, double price,
                                                              std::int64_t volume)
{
    if (!IsNotUseNOV() || !ShouldSyncPortfolioWithoutEquityOptions(*this, isin)) return Z9ERR_OK;
    return m_portfolioWithoutEquityOptions.SetPosition(isin, quantity, price, volume);
}
