#include "ParticipantBase.h"

#include "grids/Constants.h"

ParticipantBase::ParticipantBase(const Parameters& parameters, kv7im::InstrumentsRepository& instrumentsRepository,
                                 const pos::PositionCalculatorInstruments& positionInstruments)
    : CollateralChecker(parameters.collateralErrorCode, parameters.collateralChecksEnabled),
      NClr2Delivery(parameters.nClr2Delivery),
      ExpWeight(parameters.expWeight),
      NoFutDiscount(parameters.noFutDiscount),
      marginRule_(parameters.marginRule),
      instrumentsRepository_(instrumentsRepository),
      instrumentsRepositoryWapper_(instrumentsRepository),
      positionCalculator(positionInstruments),
      portfolio(this),
      m_riskLevel(parameters.riskLevel),
      m_status(parameters.status)
{}

t_bsum_int ParticipantBase::GetVMCloseTotal() const { return positionCalculator.GetVM(); }

const VMCloseByCurrencies& ParticipantBase::GetVMCloseByCurrencies() const { return positionCalculator.GetVMCurr(); }

kv7im::InstrumentsRepository& ParticipantBase::GetInstrumentsRepository() { return instrumentsRepository_; }

const kv7im::InstrumentsRepository& ParticipantBase::GetInstrumentsRepository() const { return instrumentsRepository_; }

void ParticipantBase::NewPositionAddedToPortfolio(const kv7im::CumulativePositionByFutures&) {}

double ParticipantBase::GetBrokerBaseContractGORatio(const std::string&) const
{
    return kv7im::Constants::DefaultBrokerBaseContractGORatio;
}

double ParticipantBase::GetBrokerBaseContractGORatioForMCS(const std::string&) const
{
    return kv7im::Constants::DefaultBrokerBaseContractGORatio;
}

t_bround_int ParticipantBase::GetPremiumBlocked() const { return {}; }
