// PlainTree: what every participant of a tree holds and has ordered, and what the plain margin model finds for it.
//
// A figure is worked out from nothing when it is asked for after a change of what it rests on, and kept until the next.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "DrawnTree.h"
#include "PlainMargin.h"

namespace simulation {

/// A margin as it is charged: to five decimals, then up to the next cent.
[[nodiscard]] double Charged(double margin);

/// What a level should show. Money; `rounding` is what increments may be off by.
struct Figures
{
    plain::Margins margins = {};
    double weight = 1.0; // of the delivery margin
    double ratio = 1.0;  // of the GO
    double rounding = 0.0;

    [[nodiscard]] bool HasMargins(const plain::Margins& shown) const;
    /// The GO that is charged for margins of this level.
    [[nodiscard]] double GOFor(const plain::Margins& of) const;
};

/// Changes a book before the model looks at it: the model goes wrong on purpose.
using Distortion = std::function<void(plain::Book&, plain::Orders&)>;

class PlainTree
{
public:
    PlainTree(plain::Market market, Tree tree, Distortion distortion = {});

    [[nodiscard]] const plain::Market& Market() const { return m_market; }
    [[nodiscard]] const Tree& Participants() const { return m_tree; }
    /// The market with instruments that were not there before. What is held goes on.
    void AddToMarket(const std::function<void(plain::Market&)>& add);

    // What comes and goes.

    void SetClient(std::size_t client, Isin isin, const plain::Holding& holding);
    void SetFirm(std::size_t firm, Isin isin, const plain::Holding& holding);
    void SetAccount(std::size_t account, Isin isin, const plain::Holding& holding);
    void ChangeOrder(std::size_t client, Isin isin, bool buy, double price, std::int64_t quantity);
    /// Gives a client other parameters; its book is taken anew where one of them differs.
    void ChangeClient(std::size_t client, bool noFutDiscount, std::int32_t clearings, double weight);
    void ChangeRatio(std::size_t client, double goRatio);
    /// All books move to a changed market. Those on the futures given are taken anew; where it settles, at settlement
    /// prices.
    void ChangeMarket(plain::Market market, const std::set<Isin>& futures, bool settles);
    /// The client's book is made anew of what it holds: what cancelled orders have left in it is gone.
    void TakeAnew(std::size_t client);
    void ClearBooks();
    void ChangeTree(Tree tree);

    [[nodiscard]] plain::Holding HeldBy(std::size_t client, Isin isin) const;
    [[nodiscard]] plain::Orders OpenOrders(std::size_t client) const { return m_clients[client].own.Open(); }

    // What should be shown.

    [[nodiscard]] const Figures& OfClient(std::size_t client);
    [[nodiscard]] const Figures& OfFirm(std::size_t firm);
    /// Of an account under Netting or HalfNetting.
    [[nodiscard]] const Figures& OfAccount(std::size_t account);
    /// Of an account under Gross, which has no margins: what its firms are charged, by firm, added up.
    [[nodiscard]] double SumOfFirms(std::size_t account, const std::vector<double>& goOfFirms) const;

private:
    struct ClientBook
    {
        plain::Book held;
        plain::OrderBook own;
        plain::OrderBook
            above; // as levels know it that take orders as they come: they are not taken anew with the client
        std::optional<Figures> figures = {};
        std::optional<plain::Outlines> losses = {};
        double largest = 0.0; // margin so far
    };
    struct LevelBook
    {
        plain::Book held; // by records of its own
        std::optional<Figures> figures = {};
        double largest = 0.0;
    };

    void ForgetFigures();
    void ForgetAbove(std::size_t client);
    [[nodiscard]] plain::Rules RulesOf(const Client& client) const;
    [[nodiscard]] double WeightOf(const Client& client) const;
    [[nodiscard]] plain::Orders Counting(const plain::OrderBook& orders) const;
    [[nodiscard]] plain::Orders OrdersBelow(std::size_t firm) const;
    [[nodiscard]] const plain::Outlines& LossesOf(std::size_t client);
    void AddLosses(plain::SumOfLosses& sum, std::size_t firm);
    [[nodiscard]] plain::Margins MarginsOf(const plain::Rules& rules, plain::Book book, plain::Orders orders) const;
    [[nodiscard]] static Figures Made(const plain::Margins& margins, double weight, double ratio, double& largest);
    [[nodiscard]] plain::Margins MarginsOfAccount(std::size_t account);
    void TakeAnew(plain::Book& book, const std::set<Isin>& futures, bool settles) const;
    void TakeAnew(plain::OrderBook& orders, const std::set<Isin>& futures) const;
    [[nodiscard]] Isin FuturesUnder(Isin isin) const;

    plain::Market m_market;
    Tree m_tree;
    Distortion m_distortion;
    std::vector<ClientBook> m_clients;
    std::vector<LevelBook> m_firms;
    std::vector<LevelBook> m_accounts;
};

} // namespace simulation
