#include "PlainTree.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace simulation {

namespace {

// Increments round by the largest money that has gone through them.
constexpr double Relative = 1e-9;

plain::Rules RulesOfLevel(plain::Tier tier, const Netting& netting)
{
    plain::Rules rules;
    rules.tier = tier;
    rules.calendar = netting.calendar;
    rules.interContract = netting.interContract;
    rules.shortChargeRatio = netting.shortChargeRatio;
    return rules;
}

} // namespace

double Charged(double margin) { return std::ceil(std::round(margin * 100000) / 100000 * 100) / 100; }

bool Figures::HasMargins(const plain::Margins& shown) const
{
    return std::abs(shown.volatility - margins.volatility) <= rounding &&
           std::abs(shown.delivery - margins.delivery) <= rounding;
}

double Figures::GOFor(const plain::Margins& of) const
{
    return Charged(((1.0 - weight) * of.volatility + weight * of.delivery) * ratio) + 0.0; // no minus zero
}

PlainTree::PlainTree(plain::Market market, Tree tree, Distortion distortion)
    : m_market(std::move(market)), m_distortion(std::move(distortion))
{
    ChangeTree(std::move(tree));
}

void PlainTree::AddToMarket(const std::function<void(plain::Market&)>& add) { add(m_market); }

// What comes and goes.

void PlainTree::ForgetAbove(std::size_t client)
{
    const std::size_t firm = m_tree.clients[client].firm;
    m_firms[firm].figures.reset();
    if (const std::size_t account = m_tree.firms[firm].account; account != NoAccount)
        m_accounts[account].figures.reset();
}

void PlainTree::SetClient(std::size_t client, Isin isin, const plain::Holding& holding)
{
    ClientBook& book = m_clients[client];
    book.held[isin] = holding;
    book.figures.reset();
    book.losses.reset();
    ForgetAbove(client);
}

void PlainTree::SetFirm(std::size_t firm, Isin isin, const plain::Holding& holding)
{
    m_firms[firm].held[isin] = holding;
    m_firms[firm].figures.reset();
}

void PlainTree::SetAccount(std::size_t account, Isin isin, const plain::Holding& holding)
{
    m_accounts[account].held[isin] = holding;
    m_accounts[account].figures.reset();
}

void PlainTree::ChangeOrder(std::size_t client, Isin isin, bool buy, double price, std::int64_t quantity)
{
    ClientBook& book = m_clients[client];
    book.own.Change(isin, buy, price, quantity);
    book.above.Change(isin, buy, price, quantity);
    book.figures.reset();
    book.losses.reset();
    ForgetAbove(client);
}

void PlainTree::ChangeClient(std::size_t client, bool noFutDiscount, std::int32_t clearings, double weight)
{
    Client& parameters = m_tree.clients[client];
    if (parameters.rules.noFutDiscount == noFutDiscount && parameters.rules.clearings == clearings &&
        parameters.weight == weight)
        return;
    parameters.rules.noFutDiscount = noFutDiscount;
    parameters.rules.clearings = clearings;
    parameters.weight = weight;
    ClientBook& book = m_clients[client];
    for (auto& [isin, holding] : book.held)
        holding.afterLastClearing = 0; // nothing comes from the accounting
    TakeAnew(client);
}

void PlainTree::TakeAnew(std::size_t client)
{
    ClientBook& book = m_clients[client];
    book.own.TakeAnew();
    book.figures.reset();
    book.losses.reset();
    ForgetAbove(client);
}

void PlainTree::ChangeRatio(std::size_t client, double goRatio)
{
    m_tree.clients[client].goRatio = goRatio;
    m_clients[client].figures.reset();
}

void PlainTree::ForgetFigures()
{
    for (ClientBook& book : m_clients) {
        book.figures.reset();
        book.losses.reset();
    }
    for (std::vector<LevelBook>* const level : {&m_firms, &m_accounts})
        for (LevelBook& book : *level)
            book.figures.reset();
}

void PlainTree::ClearBooks()
{
    m_clients.assign(m_tree.clients.size(), {});
    m_firms.assign(m_tree.firms.size(), {});
    m_accounts.assign(m_tree.accounts.size(), {});
}

void PlainTree::ChangeTree(Tree tree)
{
    m_tree = std::move(tree);
    ClearBooks();
}

// A changed market.

Isin PlainTree::FuturesUnder(Isin isin) const
{
    const plain::MarketView view(m_market, {});
    const OptionSample* const option = view.FindOption(isin);
    return option == nullptr ? isin : view.FuturesOf(view.SeriesNamed(option->CodeVF)).Isin;
}

void PlainTree::TakeAnew(plain::Book& book, const std::set<Isin>& futures, bool settles) const
{
    const plain::MarketView view(m_market, {});
    for (auto& [isin, holding] : book) {
        if (!futures.contains(FuturesUnder(isin))) continue;
        holding.afterLastClearing = 0;
        if (!settles) continue;
        const OptionSample* const option = view.FindOption(isin);
        holding.price = option == nullptr ? view.Settlement(*view.FindFutures(isin)) : option->CalcOptPrice;
    }
}

// What was placed of an order is forgotten where its futures are taken anew; both legs of a spread are of one family.
void PlainTree::TakeAnew(plain::OrderBook& orders, const std::set<Isin>& futures) const
{
    const plain::MarketView view(m_market, {});
    plain::OrderBook anew;
    for (const plain::Order& order : orders.All()) {
        const MultilegSample* const multileg = view.FindMultileg(order.isin);
        if (!futures.contains(multileg == nullptr ? FuturesUnder(order.isin) : multileg->FirstLeg)) {
            anew.Change(order.isin, order.buy, order.price, order.placed);
            anew.Change(order.isin, order.buy, order.price, order.quantity - order.placed);
        } else if (order.quantity > 0) {
            anew.Change(order.isin, order.buy, order.price, order.quantity);
        }
    }
    orders = anew;
}

void PlainTree::ChangeMarket(plain::Market market, const std::set<Isin>& futures, bool settles)
{
    m_market = std::move(market);
    for (ClientBook& book : m_clients) {
        TakeAnew(book.held, futures, settles);
        TakeAnew(book.own, futures);
        TakeAnew(book.above, futures);
    }
    for (std::vector<LevelBook>* const level : {&m_firms, &m_accounts})
        for (LevelBook& book : *level)
            TakeAnew(book.held, futures, settles);
    ForgetFigures();
}

plain::Holding PlainTree::HeldBy(std::size_t client, Isin isin) const
{
    const auto found = m_clients[client].held.find(isin);
    return found == m_clients[client].held.end() ? plain::Holding() : found->second;
}

// What should be shown.

plain::Rules PlainTree::RulesOf(const Client& client) const
{
    plain::Rules rules = client.rules;
    const Firm& firm = m_tree.firms[client.firm];
    if (!firm.ratioContract.empty()) rules.ratios[firm.ratioContract] = firm.ratio;
    return rules;
}

double PlainTree::WeightOf(const Client& client) const
{
    return client.weight == Client::WeightOfFirm ? m_tree.firms[client.firm].weightOfClients : client.weight;
}

// A closed order counts in a collateral instrument only.
plain::Orders PlainTree::Counting(const plain::OrderBook& orders) const
{
    const plain::MarketView view(m_market, {});
    const auto isCollateral = [&](Isin isin) {
        const FuturesSample* const futures = view.FindFutures(isin);
        return futures != nullptr && plain::IsCollateral(*futures);
    };
    plain::Orders counting = orders.All();
    std::erase_if(counting, [&](const plain::Order& order) {
        if (order.quantity != 0 || isCollateral(order.isin)) return false;
        const MultilegSample* const multileg = view.FindMultileg(order.isin);
        return multileg == nullptr || !(isCollateral(multileg->FirstLeg) || isCollateral(multileg->SecondLeg));
    });
    return counting;
}

plain::Orders PlainTree::OrdersBelow(std::size_t firm) const
{
    plain::Orders all;
    for (std::size_t c = 0; c < m_clients.size(); ++c)
        if (m_tree.clients[c].firm == firm)
            for (const plain::Order& order : Counting(m_clients[c].above))
                all.push_back(order);
    return all;
}

plain::Margins PlainTree::MarginsOf(const plain::Rules& rules, plain::Book book, plain::Orders orders) const
{
    if (m_distortion) m_distortion(book, orders);
    return plain::Model(m_market, rules).Of(book, orders);
}

Figures PlainTree::Made(const plain::Margins& margins, double weight, double ratio, double& largest)
{
    largest = std::max({largest, margins.volatility, margins.delivery});
    return {margins, weight, ratio, Relative * (1.0 + largest)};
}

const Figures& PlainTree::OfClient(std::size_t client)
{
    ClientBook& book = m_clients[client];
    if (!book.figures) {
        const Client& parameters = m_tree.clients[client];
        book.figures = Made(MarginsOf(RulesOf(parameters), book.held, Counting(book.own)), WeightOf(parameters),
                            parameters.goRatio, book.largest);
    }
    return *book.figures;
}

const plain::Outlines& PlainTree::LossesOf(std::size_t client)
{
    ClientBook& book = m_clients[client];
    if (!book.losses) {
        plain::Book held = book.held;
        plain::Orders orders = Counting(book.own);
        if (m_distortion) m_distortion(held, orders);
        book.losses = plain::Model(m_market, RulesOf(m_tree.clients[client])).LossesOf(held, orders);
    }
    return *book.losses;
}

void PlainTree::AddLosses(plain::SumOfLosses& sum, std::size_t firm)
{
    for (std::size_t c = 0; c < m_clients.size(); ++c)
        if (m_tree.clients[c].firm == firm) sum.Add(LossesOf(c));
}

const Figures& PlainTree::OfFirm(std::size_t firm)
{
    LevelBook& book = m_firms[firm];
    if (book.figures) return *book.figures;
    const Firm& parameters = m_tree.firms[firm];
    plain::Margins margins;
    if (parameters.rule == Enums::MarginRule::Netting) {
        margins = MarginsOf(RulesOfLevel(plain::Tier::Firm, parameters.netting), book.held, OrdersBelow(firm));
    } else if (m_tree.TakesLosses(parameters)) {
        plain::SumOfLosses losses(m_market);
        AddLosses(losses, firm);
        margins = losses.Total();
    }
    for (std::size_t c = 0; c < m_clients.size(); ++c)
        if (m_tree.clients[c].firm == firm) book.largest = std::max(book.largest, m_clients[c].largest);
    book.figures = Made(margins, parameters.UsedWeight(), 1.0, book.largest);
    return *book.figures;
}

double PlainTree::SumOfFirms(std::size_t account, const std::vector<double>& goOfFirms) const
{
    double sum = 0.0;
    for (std::size_t f = 0; f < m_firms.size(); ++f)
        if (m_tree.firms[f].account == account) sum += goOfFirms[f];
    return sum;
}

plain::Margins PlainTree::MarginsOfAccount(std::size_t account)
{
    const Account& parameters = m_tree.accounts[account];
    const auto isBelow = [&](std::size_t firm) { return m_tree.firms[firm].account == account; };
    if (parameters.rule == Enums::MarginRule::HalfNetting) {
        plain::SumOfLosses losses(m_market);
        for (std::size_t f = 0; f < m_firms.size(); ++f)
            if (isBelow(f)) AddLosses(losses, f);
        return losses.Total();
    }
    plain::Orders orders;
    for (std::size_t f = 0; f < m_firms.size(); ++f)
        if (isBelow(f)) {
            const plain::Orders below = OrdersBelow(f);
            orders.insert(orders.end(), below.begin(), below.end());
        }
    return MarginsOf(RulesOfLevel(plain::Tier::Account, parameters.netting), m_accounts[account].held, orders);
}

const Figures& PlainTree::OfAccount(std::size_t account)
{
    LevelBook& book = m_accounts[account];
    if (book.figures) return *book.figures;
    for (std::size_t c = 0; c < m_clients.size(); ++c)
        if (m_tree.firms[m_tree.clients[c].firm].account == account)
            book.largest = std::max(book.largest, m_clients[c].largest);
    book.figures = Made(MarginsOfAccount(account), 1.0, 1.0, book.largest);
    return *book.figures;
}

} // namespace simulation
