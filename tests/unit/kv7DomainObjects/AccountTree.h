// AccountTree: a market to work by hand, and an account tree over it.
//
// One futures FUT (isin 1) of the base contract BC stands alone: three price points 700, 800 and 900 around a
// settlement price of 800, one unit of price is one unit of money, no tails, no charges, and one market-risk rate in
// all tiers. So the result of q contracts at the price p is
//     q (700 - p),  q (800 - p),  q (900 - p)
// and one contract at 800, bought or sold, has a margin of 100. Without deliveries both margin figures are the same.
#pragma once

#include <stdexcept>
#include <string>

#include "Broker.h"
#include "Client.h"
#include "InstrumentSamples.h"
#include "InstrumentsRepository.h"
#include "ParticipantRegistrar.h"
#include "ParticipantRepository.h"
#include "PositionCalculatorInstruments.h"
#include "except.h"

inline constexpr Isin FUT = 1;
inline constexpr Isin UnknownIsin = 99;

[[nodiscard]] inline BaseContractSample HandBaseContract(const std::string& code = "BC", const std::string& mcs = "")
{
    BaseContractSample sample;
    sample.Code = code;
    sample.CodeMCS = mcs;
    sample.ShortOptionMinimumCharge = 0.0;
    for (double* rate :
         {&sample.MarketRisk, &sample.MarketRisk1, &sample.MarketRisk2, &sample.MarketRiskLow, &sample.MarketRisk1Low,
          &sample.MarketRisk2Low, &sample.MarketRiskMedium, &sample.MarketRisk1Medium, &sample.MarketRisk2Medium,
          &sample.MarketRiskHigh, &sample.MarketRisk1High, &sample.MarketRisk2High, &sample.MarketRiskExceptional,
          &sample.MarketRisk1Exceptional, &sample.MarketRisk2Exceptional})
        *rate = 0.125;
    sample.RiskPointsN = 1;
    return sample;
}

[[nodiscard]] inline FuturesSample HandFutures(const std::string& code = "FUT", Isin isin = FUT,
                                               const std::string& codeBC = "BC")
{
    FuturesSample sample;
    sample.Code = code;
    sample.CodeBC = codeBC;
    sample.Isin = isin;
    sample.CalcFutPrice = 800.0;
    sample.RealCalcPrice = 800.0;
    sample.NormalizedSpot = 800.0;
    sample.MinStep = 1.0;
    sample.MinStepPrice = 1.0;
    sample.SpreadAspect = Enums::SpreadAspect::NotInSpread;
    return sample;
}

[[nodiscard]] inline SSettlementAccountMoneyStruct AccountRecord(const std::string& id)
{
    SSettlementAccountMoneyStruct record;
    id.copy(record.Code, sizeof record.Code);
    return record;
}

/// What the exception says of itself.
struct Failure
{
    Z9ERR code = 0;
    std::string text;
};
/// The CZ9Error that the call ends in; code 0 when it does not.
template <class Call>
[[nodiscard]] Failure FailureOf(Call&& call)
{
    try {
        call();
    } catch (const kv7base::CZ9Error& error) {
        return {error.GetCode(), error.what()};
    }
    return {};
}

struct AccountTree
{
    AccountTree()
    {
        Check(instruments.SetEdgeCoeff(0.0)); // no tails
        Check(HandBaseContract().InsertInto(instruments));
        Check(HandFutures().InsertInto(instruments));
        positionInstruments.InsertBaseContract(1, false, 0);
        positionInstruments.InsertFutures("FUT", FUT, 1, 1.0, 1.0, t_bprice(800.0), 0.5, Enums::InstrumentStatus::None,
                                          100.0);
    }

    static void Check(Z9ERR code)
    {
        if (code != 0) throw std::runtime_error("the sample market is refused with code " + std::to_string(code));
    }

    BraskSettlementAccountPtr AddAccount(const std::string& id, Enums::MarginRule rule)
    {
        registrar.RegisterSettlementAccount(AccountRecord(id), rule, false, GetDummySettlementAccount()->GetOwner());
        return repository.GetSettlementAccountById(id);
    }

    BraskBroker& AddFirm(const std::string& code, Enums::MarginRule rule, const BraskSettlementAccountPtr& account,
                         double expWeight = 0.0, double expWeightClientDefault = 0.0)
    {
        return registrar.RegisterBroker(BrokerCode::Parse(code), Enums::BrokerAccountType::Ordinary, rule, account, 0,
                                        0, t_weight_int(expWeight), t_weight_int(expWeightClientDefault));
    }

    BraskClient& AddClient(BraskBroker& firm, const std::string& code, double expWeight = 0.0)
    {
        return registrar.RegisterClient(firm, ClientCode::Parse(code), false, 0, t_weight_int(expWeight),
                                        Enums::ClientRiskLevel::Default, Enums::InvestorStatus::None);
    }

    kv7im::InstrumentsRepository instruments;
    pos::PositionCalculatorInstruments positionInstruments;
    ParticipantRepository repository;
    ParticipantRegistrar registrar{repository, instruments, positionInstruments};
};
