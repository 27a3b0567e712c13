// OneClientTree: an account, a firm and a client over the market of OptionTree, and what their GO should be.
#pragma once

#include <gtest/gtest.h>

#include "OptionTree.h"

struct OneClientTree : OptionTree
{
    OneClientTree(Enums::MarginRule firmRule, Enums::MarginRule accountRule)
        : account(AddAccount("ID1", accountRule)),
          firm(AddFirm("AA01", firmRule, account)),
          client(AddClient(firm, "AA01001"))
    {}

    void ExpectGO(double ofClient, double ofFirm, double ofAccount) const
    {
        const auto expect = [](const ParticipantBase& level, double go) {
            EXPECT_NEAR(level.GetInitialMargin(), go, 1e-9) << level.GetParticipantCode();
            EXPECT_EQ(level.GetMeans().BlockedMoney.AsDouble(), go) << "the money block is renewed with it";
        };
        expect(client, ofClient);
        expect(firm, ofFirm);
        expect(*account, ofAccount);
    }

    BraskSettlementAccountPtr account;
    BraskBroker& firm;
    BraskClient& client;
};
