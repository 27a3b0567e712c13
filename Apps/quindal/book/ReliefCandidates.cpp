#include "ReliefCandidates.h"

#include <cmath>
#include <cstdlib>
#include <set>

#include "TradedInstrument.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"

namespace quindal {

namespace {

/// What nets together: the group of base contracts, or the base contract alone.
std::string GroupOf(const TradedInstrument& instrument)
{
    const kv7im::CSpecBaseContract& contract = instrument.Contract();
    return contract.HasMCS() ? "group " + contract.CodeMCS : "contract " + contract.Code;
}

double TurnoverOf(const TradedInstrument& instrument)
{
    return std::abs(instrument.CalculatedPrice()) * instrument.MoneyOfPrice();
}

ReliefCandidate Candidate(const std::string& code, const TradedInstrument& instrument, bool isBuy)
{
    ReliefCandidate candidate;
    candidate.item.instrument = code;
    candidate.item.isBuy = isBuy;
    candidate.turnover = TurnoverOf(instrument);
    return candidate;
}

} // namespace

std::vector<ReliefCandidate> CandidatesOf(const Holdings& held, const MarketCodes& codes, std::int64_t mostHedged)
{
    std::vector<ReliefCandidate> candidates;
    std::set<std::string> groups;
    for (const auto& [code, row] : held) {
        if (row.quantity == 0) continue;
        const TradedInstrument instrument = TradedInstrument::Find(code);
        groups.insert(GroupOf(instrument));
        ReliefCandidate closing = Candidate(code, instrument, row.quantity < 0);
        closing.isClosing = true;
        closing.most = std::abs(row.quantity);
        candidates.push_back(closing);
    }
    for (const auto& [code, kind] : codes.Kinds()) {
        if (kind != InstrumentKind::Futures && kind != InstrumentKind::Option) continue;
        const TradedInstrument instrument = TradedInstrument::Find(code);
        if (instrument.Futures().IsTAS || !groups.contains(GroupOf(instrument))) continue;
        const auto own = held.find(code);
        const std::int64_t quantity = own == held.end() ? 0 : own->second.quantity;
        for (const bool isBuy : {true, false}) {
            if (isBuy ? quantity < 0 : quantity > 0) continue; // that closes
            ReliefCandidate hedge = Candidate(code, instrument, isBuy);
            hedge.most = mostHedged;
            candidates.push_back(hedge);
        }
    }
    return candidates;
}

} // namespace quindal
