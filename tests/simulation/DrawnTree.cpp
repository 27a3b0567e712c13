#include "DrawnTree.h"

#include "Draw.h"

namespace simulation {

namespace {

using replay::Draw;

Enums::MarginRule AnyRule(Draw& draw)
{
    using enum Enums::MarginRule;
    return draw.OneOf({Gross, HalfNetting, Netting, Netting});
}
Enums::SpreadMarginType AnySpread(Draw& draw)
{
    using enum Enums::SpreadMarginType;
    return draw.OneOf({Unused, HalfNetting, Netting, Netting});
}
Netting AnyNetting(Draw& draw) { return {AnySpread(draw), AnySpread(draw), draw.Grid(0.0, 0.5, 5)}; }

Client AnyClient(Draw& draw, const std::string& code, std::size_t firm)
{
    Client client{code, firm};
    client.rules.level = static_cast<Enums::ClientRiskLevel>(draw.Whole(0, 4));
    client.rules.noFutDiscount = draw.OnceIn(3);
    client.rules.calendar = AnySpread(draw);
    client.rules.interContract = AnySpread(draw);
    client.rules.shortChargeRatio = draw.Grid(0.0, 0.5, 5);
    client.rules.clearings = draw.Whole(-1, 4);
    client.goRatio = draw.Grid(0.5, 0.25, 5);
    client.weight = draw.OnceIn(5) ? Client::WeightOfFirm : draw.Grid(0.0, 0.25, 5);
    return client;
}

} // namespace

Tree DrawTree(std::uint64_t seed, const plain::Market& market)
{
    Draw draw(seed);
    Tree tree;
    for (int i = draw.Whole(1, 3); i > 0; --i)
        tree.accounts.push_back({"ACCOUNT" + std::to_string(i), AnyRule(draw), AnyNetting(draw)});
    const int firms = draw.Whole(1, 4);
    for (int i = 1; i <= firms; ++i) {
        Firm firm{"AA0" + std::to_string(i)};
        if (!draw.OnceIn(6))
            firm.account = static_cast<std::size_t>(draw.Whole(0, static_cast<int>(tree.accounts.size()) - 1));
        firm.rule = AnyRule(draw);
        firm.netting = AnyNetting(draw);
        firm.weight = draw.Grid(0.0, 0.25, 5);
        firm.weightOfClients = draw.Grid(0.0, 0.25, 5);
        if (draw.OnceIn(2)) firm.ratioContract = draw.OneOf(market.baseContracts).Code;
        firm.ratio = draw.Grid(0.5, 0.25, 8);
        tree.firms.push_back(firm);
        const int clients = draw.Whole(1, 3);
        for (int c = 1; c <= clients; ++c)
            tree.clients.push_back(AnyClient(draw, firm.code + "00" + std::to_string(c), tree.firms.size() - 1));
    }
    return tree;
}

} // namespace simulation
