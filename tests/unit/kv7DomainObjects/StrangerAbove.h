// StrangerAbove: a client below an account under Netting that has an instruments repository of its own, so that the
// codes of the levels can differ.
#pragma once

#include <memory>

#include "AccountTree.h"

struct OtherMarket
{
    kv7im::InstrumentsRepository itsInstruments;
};

struct StrangerAbove : OtherMarket, AccountTree
{
    explicit StrangerAbove(Enums::MarginRule firmRule)
        : account(std::make_shared<BraskSettlementAccount>(AccountRecord("ID2"), Enums::MarginRule::Netting, false,
                                                           GetDummySettlementAccount()->GetOwner(), itsInstruments,
                                                           positionInstruments)),
          firm(AddFirm("AA01", firmRule, account)),
          client(AddClient(firm, "AA01001"))
    {}

    /// A futures that only the account knows.
    void InsertAbove(Isin isin)
    {
        Check(HandBaseContract().InsertInto(itsInstruments));
        Check(HandFutures("OTHER", isin).InsertInto(itsInstruments));
    }

    BraskSettlementAccountPtr account;
    BraskBroker& firm;
    BraskClient& client;
};
