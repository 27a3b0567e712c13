// PlainMargin: the margin of a book of positions and orders, worked out from nothing by plain loops over vectors.
//
// The slow, obvious twin of the engine: no increments, no nodes, no vector instructions, nothing shared with it but the
// input records. Every figure of the engine has to agree with it within rounding.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "Enums.h"
#include "PlainMarket.h"
#include "PlainOption.h"
#include "PlainOrders.h"
#include "grids/StressPoints.h"

namespace plain {

/// Level of the account tree. Each looks at the clearings before an expiry in its own way.
enum class Tier
{
    Client,
    Firm,
    Account,
};

struct Rules
{
    Enums::ClientRiskLevel level = Enums::ClientRiskLevel::Default;
    bool noFutDiscount = false;
    Enums::SpreadMarginType calendar = Enums::SpreadMarginType::Netting;
    Enums::SpreadMarginType interContract = Enums::SpreadMarginType::HalfNetting;
    double shortChargeRatio = 1.0;
    std::map<std::string, double> ratios = {}; // base contract to multiplier of the margin
    Tier tier = Tier::Client;
    std::int32_t clearings = 0; // of a client: deliveries count from so many clearings before the expiry on
    bool positionsOnly = false; // positions are valued by their cost basis and a market price, paper losses apart
};

struct Holding
{
    std::int64_t quantity = 0;
    double price = 0.0;
    std::int64_t afterLastClearing = 0; // what the value of premium-style options is taken of
    // Of positions alone:
    double marketPrice = 0.0;
    bool hadLost = false; // before its last change
};

/// What a position has lost at its market price, price units a contract.
inline double LostByNow(const Holding& h)
{
    if (h.quantity == 0) return 0.0;
    return std::max(0.0, h.quantity < 0 ? h.marketPrice - h.price : h.price - h.marketPrice);
}
/// The price that leaves what has been lost to the paper loss.
inline double FromMarketIfLost(const Holding& h, double price)
{
    return h.quantity < 0 ? std::max(h.marketPrice, price) : std::min(h.marketPrice, price);
}

using Book = std::map<Isin, Holding>; // futures and options

/// Volatility and delivery margin, money, not rounded.
struct Margins
{
    double volatility = 0.0;
    double delivery = 0.0;
};

// Points of the stress check, in the order of the instruments' grids.
enum Point
{
    DownRisk,
    ZL,
    PnL3D,
    PnL2D,
    PnL2U,
    PnL3U,
    ZR,
    UpRisk,
    PointCount
};
static_assert(PointCount == kv7im::stress::Points.size(), "the plain margin has each stress point");

/// Results of a position, a series, a futures or a base contract, money: per column and per stress point.
struct Sheet
{
    Sheet(std::size_t scenarios, std::size_t columns)
        : cell(scenarios, std::vector<double>(columns, 0.0)),
          rate(2, std::vector<double>(columns, 0.0)),
          mismatch(2, std::vector<double>(columns, 0.0)),
          point(PointCount, 0.0)
    {}
    Table cell;     // by volatility scenarios
    Table rate;     // change by the stress of rates, up and down
    Table mismatch; // change by volatilities that move apart, up and down
    std::vector<double> point;
};

/// What is netted together: once by theoretical values, once with options of deliveries near by their outcomes.
struct Node
{
    Node(std::size_t scenarios, std::size_t columns) : volatility(scenarios, columns), delivery(scenarios, columns) {}
    Sheet volatility;
    Sheet delivery;
    double optionValue = 0.0; // of premium-style options
    double paperLoss = 0.0;   // of positions alone, at their market prices
};

/// The same collapsed, and corrected: one result per column and per stress point.
struct Outline
{
    explicit Outline(std::size_t columns)
        : row(columns, 0.0), deliveryRow(columns, 0.0), point(PointCount, 0.0), deliveryPoint(PointCount, 0.0)
    {}
    std::vector<double> row;
    std::vector<double> deliveryRow;
    std::vector<double> point;
    std::vector<double> deliveryPoint;
};
/// By code: of base contracts in spread, of futures and of option series that stand alone.
using Outlines = std::map<std::string, Outline>;

namespace details {

inline void Add(std::vector<double>& sum, const std::vector<double>& row)
{
    for (std::size_t j = 0; j < sum.size(); ++j)
        sum[j] += row[j];
}
inline void Add(Table& sum, const Table& table)
{
    for (std::size_t i = 0; i < sum.size(); ++i)
        Add(sum[i], table[i]);
}
inline void AddLosses(Table& sum, const Table& table)
{
    for (std::size_t i = 0; i < sum.size(); ++i)
        for (std::size_t j = 0; j < sum[i].size(); ++j)
            sum[i][j] += std::min(table[i][j], 0.0);
}
inline double WorstInColumn(const Table& table, std::size_t column)
{
    double worst = table.front()[column];
    for (const std::vector<double>& row : table)
        worst = std::min(worst, row[column]);
    return worst;
}
inline double Worst(const std::vector<double>& values) { return *std::min_element(values.begin(), values.end()); }

// Sub-points count at the column of the futures that they are bound to, where they are worse.
inline void Fold(Table& table, const std::vector<std::size_t>& real, std::size_t columns)
{
    for (std::vector<double>& row : table) {
        for (std::size_t c = columns; c < row.size(); ++c)
            row[real[c]] = std::min(row[real[c]], row[c]);
        row.resize(columns);
    }
}

} // namespace details

class Model
{
public:
    Model(const Market& market, const Rules& rules) : m_market(market, rules.level), m_rules(rules) {}

    [[nodiscard]] Margins Of(const Book& book, const Orders& orders = {}) const
    {
        const Nodes nodes = NodesOf(book, orders);
        Margins total;
        for (const auto& [code, node] : nodes.alone)
            AddMargin(total, Composed(node.second, *node.first), node.first->Code);
        std::map<std::string, Outline> groups;
        for (const auto& [code, node] : nodes.contracts) {
            const BaseContractSample& contract = m_market.ContractNamed(code);
            if (contract.CodeMCS.empty()) {
                AddMargin(total, Composed(node, contract), code);
            } else {
                const std::size_t columns = MarketView::Columns(contract);
                AddToGroup(groups.try_emplace(contract.CodeMCS, columns).first->second, node, contract);
            }
        }
        for (const auto& [code, group] : groups) {
            const double worst = std::min(Worst(group.row), Worst(group.point));
            total.volatility += std::abs(m_rules.positionsOnly ? std::min(0.0, worst) : worst) * GroupRatio(code);
            // The stress points of the volatility side stand beside the row of deliveries.
            total.delivery += std::abs(std::min(Worst(group.deliveryRow), Worst(group.point))) * GroupRatio(code);
        }
        return total;
    }

    /// What a level above that nets its clients by their losses only takes of this book.
    [[nodiscard]] Outlines LossesOf(const Book& book, const Orders& orders = {}) const
    {
        const Nodes nodes = NodesOf(book, orders);
        Outlines losses;
        const auto add = [&](const std::string& code, const Node& node, const BaseContractSample& contract) {
            Outline outline = Composed(node, contract);
            for (std::vector<double>* values :
                 {&outline.row, &outline.deliveryRow, &outline.point, &outline.deliveryPoint})
                for (double& value : *values)
                    value = std::min(value, 0.0);
            losses.emplace(code, outline);
        };
        for (const auto& [code, node] : nodes.alone)
            add(code, node.second, *node.first);
        for (const auto& [code, node] : nodes.contracts)
            add(code, node, m_market.ContractNamed(code));
        return losses;
    }

    /// All that is netted on the way up, before it is collapsed. Sub-points are folded.
    struct Nodes
    {
        std::map<std::string, Node> series;
        std::map<Isin, Node> futures;          // with their series in spread
        std::map<std::string, Node> contracts; // base contracts, of their futures in spread
        std::map<std::string, std::pair<const BaseContractSample*, Node>> alone; // futures and series not in spread
    };
    [[nodiscard]] Nodes TreeOf(const Book& book) const { return NodesOf(book, {}); }

private:
    // ---- From positions to nodes --------------------------------------------------------------------------------

    /// What is held and ordered in the options of one series.
    struct SeriesBook
    {
        Book held;
        Orders orders;
    };

    [[nodiscard]] Nodes NodesOf(const Book& book, const Orders& orders) const
    {
        Nodes nodes;
        const auto nodeOf = [&](const FuturesSample& f) -> Node& {
            return nodes.futures.try_emplace(f.Isin, NewNode(f)).first->second;
        };
        std::map<std::string, SeriesBook> series;
        for (const auto& [isin, holding] : book) {
            if (const FuturesSample* const f = m_market.FindFutures(isin))
                AddToFutures(nodeOf(*f), NodeOf(*f, holding), *f);
            else
                series[m_market.FindOption(isin)->CodeVF].held.emplace(isin, holding);
        }
        for (const Order& order : orders) {
            if (const OptionSample* const option = m_market.FindOption(order.isin)) {
                series[option->CodeVF].orders.push_back(order);
                continue;
            }
            for (const FuturesOrder& part : InFutures(m_market, order, {m_rules.noFutDiscount, m_rules.calendar}))
                AddToFutures(nodeOf(*part.futures), BothSides(OrderOf(part)), *part.futures);
        }
        for (const auto& [code, options] : series) {
            const kv7im::OptionSeriesParameters& s = m_market.SeriesNamed(code);
            const FuturesSample& f = m_market.FuturesOf(s);
            const Node node = SeriesNode(s, options);
            if (s.SpreadAspect != Enums::SpreadAspect::InSpread)
                nodes.alone.emplace(code, std::pair(&m_market.ContractOf(f), node));
            else
                AddToFutures(nodeOf(f), s.EnforceHalfNetting ? LossesOnly(node) : node, f);
            nodes.series.emplace(code, node);
        }
        for (const auto& [isin, node] : nodes.futures)
            Place(nodes, node, *m_market.FindFutures(isin));
        return nodes;
    }

    // A futures in spread goes into its base contract.
    void Place(Nodes& nodes, const Node& node, const FuturesSample& f) const
    {
        if (f.SpreadAspect == Enums::SpreadAspect::NotInSpread) {
            nodes.alone.emplace(f.Code, std::pair(&m_market.ContractOf(f), node));
            return;
        }
        const bool lossesOnly = m_rules.calendar == Enums::SpreadMarginType::HalfNetting || f.EnforceIMSHalfNetting;
        Node& contract = nodes.contracts.try_emplace(f.CodeBC, NewNode(f)).first->second;
        AddToContract(contract, lossesOnly ? LossesOnly(node) : node);
    }

    [[nodiscard]] Node NewNode(const FuturesSample& f) const
    {
        const BaseContractSample& contract = m_market.ContractOf(f);
        return {MarketView::Scenarios(contract), MarketView::Columns(contract)};
    }
    [[nodiscard]] Node NodeOf(const FuturesSample& f, const Holding& h) const
    {
        Node node = BothSides(PositionOf(f, h));
        node.paperLoss = PaperLoss(h, f.MinStepPrice / f.MinStep);
        return node;
    }
    static Node BothSides(const Sheet& sheet)
    {
        Node node(0, 0);
        node.volatility = node.delivery = sheet;
        return node;
    }

    // Cells net; the stress of volatilities moving apart does not, nor does that of rates on a collateral instrument.
    static void AddToFutures(Node& futures, const Node& part, const FuturesSample& f)
    {
        const auto add = [&](Sheet& sum, const Sheet& sheet) {
            details::Add(sum.cell, sheet.cell);
            if (IsCollateral(f))
                details::AddLosses(sum.rate, sheet.rate);
            else
                details::Add(sum.rate, sheet.rate);
            details::AddLosses(sum.mismatch, sheet.mismatch);
            details::Add(sum.point, sheet.point);
        };
        add(futures.volatility, part.volatility);
        add(futures.delivery, part.delivery);
        futures.optionValue += part.optionValue;
        futures.paperLoss += part.paperLoss;
    }
    // Cells net between months; neither stress does.
    static void AddToContract(Node& contract, const Node& part)
    {
        const auto add = [](Sheet& sum, const Sheet& sheet) {
            details::Add(sum.cell, sheet.cell);
            details::AddLosses(sum.rate, sheet.rate);
            details::AddLosses(sum.mismatch, sheet.mismatch);
            details::Add(sum.point, sheet.point);
        };
        add(contract.volatility, part.volatility);
        add(contract.delivery, part.delivery);
        contract.optionValue += part.optionValue;
        contract.paperLoss += part.paperLoss;
    }

    // The stresses folded into the cells, then no gain is left beyond the paper loss; the middle scenario is not
    // charged for volatilities that move apart.
    static Node LossesOnly(Node node)
    {
        for (Sheet* const sheet : {&node.volatility, &node.delivery}) {
            const std::size_t median = (sheet->cell.size() - 1) / 2;
            for (std::size_t j = 0; j < sheet->cell.front().size(); ++j) {
                const double rate = details::WorstInColumn(sheet->rate, j);
                const double mismatch = details::WorstInColumn(sheet->mismatch, j);
                for (std::size_t i = 0; i < sheet->cell.size(); ++i) {
                    double& cell = sheet->cell[i][j];
                    cell = std::min(node.paperLoss, cell + rate + (i == median ? 0.0 : mismatch));
                }
            }
            Clear(sheet->rate);
            Clear(sheet->mismatch);
            for (double& point : sheet->point)
                point = std::min(point, node.paperLoss);
        }
        return node;
    }
    static void Clear(Table& table)
    {
        for (std::vector<double>& row : table)
            row.assign(row.size(), 0.0);
    }

    // ---- Futures ------------------------------------------------------------------------------------------------

    [[nodiscard]] double UsedPrice(const FuturesSample& f, const Holding& h) const
    {
        double price = TradesAtSettlement(f) ? h.price + f.CalcFutPrice : h.price;
        const double settlement = m_market.Settlement(f);
        if (m_rules.noFutDiscount) price = h.quantity < 1 ? std::min(settlement, price) : std::max(settlement, price);
        return m_rules.positionsOnly ? FromMarketIfLost(h, price) : price;
    }

    // Money; none where the mode has none.
    [[nodiscard]] double PaperLoss(const Holding& h, double moneyCoef) const
    {
        return m_rules.positionsOnly ? std::abs(static_cast<double>(h.quantity)) * LostByNow(h) * moneyCoef : 0.0;
    }
    // `at` gives the result at a price; the charges come as they count.
    template <class At>
    static std::vector<double> PointsOf(const MarketView::StressPrices& stress, const At& at, double downRisk,
                                        double upRisk)
    {
        return {downRisk,
                at(stress.left) * stress.coverLeft,
                at(stress.down3),
                at(stress.down2),
                at(stress.up2),
                at(stress.up3),
                at(stress.right) * stress.coverRight,
                upRisk};
    }
    // The stress points bear the position's own price, and the paper loss comes back: in the charges as they count.
    void GiveBack(std::vector<double>& points, double paperLoss) const
    {
        for (const Point p : {ZL, PnL3D, PnL2D, PnL2U, PnL3U, ZR})
            points[p] += paperLoss;
        points[DownRisk] += paperLoss * m_rules.shortChargeRatio;
        points[UpRisk] += paperLoss * m_rules.shortChargeRatio;
    }

    [[nodiscard]] Sheet PositionOf(const FuturesSample& f, const Holding& h) const
    {
        const BaseContractSample& contract = m_market.ContractOf(f);
        const double money = static_cast<double>(h.quantity) * (f.MinStepPrice / f.MinStep);
        const double price = UsedPrice(f, h);

        Sheet sheet(MarketView::Scenarios(contract), MarketView::Columns(contract));
        for (std::size_t j = 0; j < MarketView::Columns(contract); ++j) {
            for (std::vector<double>& row : sheet.cell) // every volatility scenario of a futures is alike
                row[j] = (m_market.PriceAt(f, j) - price) * money;
            const auto [up, down] = RateStresses(f, contract, j);
            sheet.rate[0][j] = up * money;
            sheet.rate[1][j] = down * money;
        }

        const MarketView::StressPrices stress = m_market.StressOf(f);
        const double charge = contract.ShortOptionMinimumCharge * f.NormalizedSpot * m_rules.shortChargeRatio;
        const double paid = m_rules.positionsOnly ? h.price : price;
        const auto at = [&](double x) { return (x - paid) * money; };
        sheet.point = PointsOf(stress, at, -charge * stress.moveDown * money, charge * stress.moveUp * money);
        GiveBack(sheet.point, PaperLoss(h, f.MinStepPrice / f.MinStep));
        return sheet;
    }

    // An order counts with what it would lose, cell by cell and point by point, and never with what it would gain.
    [[nodiscard]] Sheet OrderOf(const FuturesOrder& order) const
    {
        const FuturesSample& f = *order.futures;
        const BaseContractSample& contract = m_market.ContractOf(f);
        const double unit = f.MinStepPrice / f.MinStep;
        const double money = order.quantity * unit;
        const double moneyOfRates = (IsCollateral(f) ? order.placed : order.quantity) * unit;
        const auto loss = [&](double gainOfBuyer) { return std::min(0.0, order.buy ? gainOfBuyer : -gainOfBuyer); };
        const auto at = [&](double x) { return (order.price ? loss(x - *order.price) : order.spreadResult) * money; };

        Sheet sheet(MarketView::Scenarios(contract), MarketView::Columns(contract));
        for (std::size_t j = 0; j < MarketView::Columns(contract); ++j) {
            for (std::vector<double>& row : sheet.cell)
                row[j] = at(m_market.PriceAt(f, j));
            const auto [up, down] = RateStresses(f, contract, j);
            sheet.rate[0][j] = loss(up) * moneyOfRates;
            sheet.rate[1][j] = loss(down) * moneyOfRates;
        }

        const MarketView::StressPrices stress = m_market.StressOf(f);
        const double charge = order.price ? contract.ShortOptionMinimumCharge * f.NormalizedSpot : 0.0;
        const double chargeMoney = m_rules.shortChargeRatio * money;
        sheet.point = PointsOf(stress, at, loss(-charge * stress.moveDown) * chargeMoney,
                               loss(charge * stress.moveUp) * chargeMoney);
        return sheet;
    }

    // What the stress of rates adds for the holder of one contract, up and down, price units: on the upper half of the
    // grid and on the lower.
    [[nodiscard]] std::pair<double, double> RateStresses(const FuturesSample& f, const BaseContractSample& contract,
                                                         std::size_t column) const
    {
        const bool percentage = contract.AssetClass == Enums::AssetClass::Percentage;
        const double n = contract.RiskPointsN;
        const double at = (static_cast<double>(column) - n) / n; // -1 to 1
        const double u = std::abs(at);
        const double x = m_market.PriceAt(f, column);
        if (at > 0.0)
            return {percentage ? u * f.InterestRateRiskUp : RateStress(f, x, u, f.InterestRateRiskUp, 1.0, f.MRAddOnUp),
                    0.0};
        if (at < 0.0)
            return {0.0, percentage ? -u * f.InterestRateRiskDown
                                    : RateStress(f, x, u, f.InterestRateRiskDown, -1.0, -f.MRAddOnDown)};
        return {0.0, 0.0};
    }

    static double RateStress(const FuturesSample& f, double x, double u, double rate, double timeSign, double addOn)
    {
        const double e = u * rate * timeSign * f.TimeToExpiration * (x < 0.0 ? -1.0 : 1.0);
        return f.NormalizedSpot * addOn * u + x * std::expm1(e);
    }

    // ---- Options ------------------------------------------------------------------------------------------------

    [[nodiscard]] bool DeliveriesCount(const kv7im::OptionSeriesParameters& s) const
    {
        if (!MarketView::HasDeliveries(s)) return false;
        switch (m_rules.tier) {
        case Tier::Account:
            return s.ExpClearingsSA >= 1;
        case Tier::Firm:
            return s.ExpClearingsBF >= 1;
        default:
            return s.ExpClearingsCC >= 1 && s.ExpClearingsCC <= m_rules.clearings;
        }
    }

    [[nodiscard]] Node SeriesNode(const kv7im::OptionSeriesParameters& s, const SeriesBook& options) const
    {
        const FuturesSample& f = m_market.FuturesOf(s);
        const BaseContractSample& contract = m_market.ContractOf(f);
        const Axis axis = m_market.AxisOf(s);
        Node node(0, 0);
        Sheet sum(MarketView::Scenarios(contract), axis.prices.size());
        Table outcomes(DeliveriesCount(s) ? axis.deliveryPrices.size() : 0,
                       std::vector<double>(axis.prices.size(), 0.0));
        const auto pricerOf = [&](const OptionSample& option) {
            return OptionPricer(contract, f, s, option.Strike, option.OptionType == Enums::OptionType::Put);
        };
        for (const auto& [isin, holding] : options.held) {
            const OptionSample& option = *m_market.FindOption(isin);
            const OptionPricer pricer = pricerOf(option);
            AddOption(sum, pricer, option, holding, f, axis);
            AddOutcomes(outcomes, pricer, holding, m_market.DeliveryScope(f), axis);
            if (s.marginStyle == Enums::MarginStyle::Equity && holding.quantity != 0)
                node.optionValue +=
                    static_cast<double>(holding.afterLastClearing) * ValuePrice(option, holding) * pricer.MoneyCoef();
            node.paperLoss += PaperLoss(holding, pricer.MoneyCoef());
        }
        for (const Order& order : options.orders) {
            const OptionSample& option = *m_market.FindOption(order.isin);
            AddOptionOrder(sum, outcomes, pricerOf(option), option, order, f, axis);
        }
        node.volatility = node.delivery = sum;
        if (!outcomes.empty()) Deliver(node.delivery, outcomes);
        for (Sheet* const sheet : {&node.volatility, &node.delivery})
            for (Table* const table : {&sheet->cell, &sheet->rate, &sheet->mismatch})
                details::Fold(*table, axis.real, MarketView::Columns(contract));
        return node;
    }

    // What one option counts for in the value of premium-style options: after a paper loss no less than on the market.
    [[nodiscard]] double ValuePrice(const OptionSample& option, const Holding& h) const
    {
        if (!m_rules.positionsOnly || !h.hadLost) return option.CalcOptPrice;
        return h.quantity < 0 ? std::min(h.marketPrice, option.CalcOptPrice)
                              : std::max(h.marketPrice, option.CalcOptPrice);
    }
    [[nodiscard]] double UsedPrice(const Holding& h) const
    {
        return m_rules.positionsOnly ? FromMarketIfLost(h, h.price) : h.price;
    }

    void AddOption(Sheet& sum, const OptionPricer& pricer, const OptionSample& option, const Holding& h,
                   const FuturesSample& f, const Axis& axis) const
    {
        const double money = static_cast<double>(h.quantity) * pricer.MoneyCoef();
        const double used = UsedPrice(h);
        const OptionValues values = pricer.Over(axis.prices, axis.real);
        for (std::size_t c = 0; c < axis.prices.size(); ++c) {
            for (std::size_t i = 0; i < sum.cell.size(); ++i) {
                double gain = values.volatility[i][c] - used;
                if (h.quantity >= 1) gain = std::max(gain, -used); // the premium is all that a buyer can lose
                sum.cell[i][c] += gain * money;
            }
            sum.rate[0][c] += values.rateUp[c] * money;
            sum.rate[1][c] += values.rateDown[c] * money;
            sum.mismatch[0][c] += values.mismatchUp * money;
            sum.mismatch[1][c] += values.mismatchDown * money;
        }

        const MarketView::StressPrices stress = m_market.StressOf(f);
        const bool put = option.OptionType == Enums::OptionType::Put;
        const auto at = [&](double price) { return (pricer.AtPoint(price) - h.price) * money; };
        const double charge = m_rules.shortChargeRatio * money;
        std::vector<double> points =
            PointsOf(stress, at, put ? pricer.ShortSellingValue(stress.moveDown) * charge : 0.0,
                     put ? 0.0 : pricer.ShortSellingValue(stress.moveUp) * charge);
        GiveBack(points, PaperLoss(h, pricer.MoneyCoef()));
        details::Add(sum.point, points);
    }

    // What the order would lose; a buyer never more than the premium, but for the stress points and the outcomes of
    // deliveries. NaN stays: a price out of the scope of a delivery.
    void AddOptionOrder(Sheet& sum, Table& outcomes, const OptionPricer& pricer, const OptionSample& option,
                        const Order& order, const FuturesSample& f, const Axis& axis) const
    {
        const double money = static_cast<double>(order.quantity) * pricer.MoneyCoef();
        const auto loss = [&](double gainOfBuyer) {
            return std::min(order.buy ? gainOfBuyer : -gainOfBuyer, 0.0) * money;
        };
        const OptionValues values = pricer.Over(axis.prices, axis.real);
        for (std::size_t c = 0; c < axis.prices.size(); ++c) {
            for (std::size_t i = 0; i < sum.cell.size(); ++i) {
                double gain = values.volatility[i][c] - order.price;
                if (order.buy) gain = std::max(gain, -order.price);
                sum.cell[i][c] += loss(gain);
            }
            sum.rate[0][c] += loss(values.rateUp[c]);
            sum.rate[1][c] += loss(values.rateDown[c]);
            sum.mismatch[0][c] += loss(values.mismatchUp);
            sum.mismatch[1][c] += loss(values.mismatchDown);
            for (std::size_t s = 0; s < outcomes.size(); ++s)
                outcomes[s][c] += loss(
                    pricer.AtDelivery(axis.deliveryPrices[s], m_market.DeliveryScope(f), axis.prices[c]) - order.price);
        }

        const MarketView::StressPrices stress = m_market.StressOf(f);
        const bool put = option.OptionType == Enums::OptionType::Put;
        const auto at = [&](double price) { return loss(pricer.AtPoint(price) - order.price); };
        const double charge =
            loss(pricer.ShortSellingValue(put ? stress.moveDown : stress.moveUp)) * m_rules.shortChargeRatio;
        details::Add(sum.point, PointsOf(stress, at, put ? charge : 0.0, put ? 0.0 : charge));
    }

    void AddOutcomes(Table& outcomes, const OptionPricer& pricer, const Holding& h, double scope,
                     const Axis& axis) const
    {
        const double money = static_cast<double>(h.quantity) * pricer.MoneyCoef();
        for (std::size_t s = 0; s < outcomes.size(); ++s)
            for (std::size_t c = 0; c < axis.prices.size(); ++c)
                outcomes[s][c] +=
                    (pricer.AtDelivery(axis.deliveryPrices[s], scope, axis.prices[c]) - UsedPrice(h)) * money;
    }

    // The worst outcome of those that have the column in their scope takes the place of all scenarios; rates and
    // volatilities no longer matter.
    static void Deliver(Sheet& sheet, const Table& outcomes)
    {
        for (std::size_t c = 0; c < sheet.cell.front().size(); ++c) {
            double worst = std::numeric_limits<double>::max();
            for (const std::vector<double>& outcome : outcomes)
                if (outcome[c] < worst) worst = outcome[c]; // false for NaN: out of scope
            for (std::vector<double>& row : sheet.cell)
                row[c] = worst;
        }
        Clear(sheet.rate);
        Clear(sheet.mismatch);
    }

    // ---- From nodes to margins ----------------------------------------------------------------------------------

    static std::vector<double> Collapsed(const Sheet& sheet)
    {
        std::vector<double> row(sheet.cell.front().size());
        for (std::size_t j = 0; j < row.size(); ++j)
            row[j] = details::WorstInColumn(sheet.cell, j) + details::WorstInColumn(sheet.rate, j) +
                     details::WorstInColumn(sheet.mismatch, j);
        return row;
    }

    // Rows of both sides, with their stress points corrected, and the curvature of the currency on everything.
    [[nodiscard]] Outline Composed(const Node& node, const BaseContractSample& contract) const
    {
        Outline outline = Rows(node);
        outline.point = Corrected(node.volatility.point, outline.row, contract);
        outline.deliveryPoint = Corrected(node.delivery.point, outline.deliveryRow, contract);
        Curve(outline, node, contract);
        return outline;
    }
    [[nodiscard]] Outline Rows(const Node& node) const
    {
        Outline outline(0);
        outline.row = Collapsed(node.volatility);
        outline.deliveryRow = Collapsed(node.delivery);
        for (std::size_t j = 0; j < outline.row.size(); ++j)
            outline.deliveryRow[j] = std::min(outline.row[j], outline.deliveryRow[j]);
        if (!m_rules.positionsOnly) return outline;
        for (std::vector<double>* const row : {&outline.row, &outline.deliveryRow})
            for (double& value : *row)
                value = std::min(value, 0.0);
        return outline;
    }
    void Curve(Outline& outline, const Node& node, const BaseContractSample& contract) const
    {
        const double curvature = m_market.Curvature(contract);
        if (!(curvature > 0.0)) return;
        for (std::vector<double>* values : {&outline.row, &outline.deliveryRow, &outline.point, &outline.deliveryPoint})
            for (double& value : *values) {
                const double bent = node.optionValue + value;
                const double relief = std::clamp(bent, 0.0, node.paperLoss) * curvature;
                value += 2.0 * relief - std::abs(bent) * curvature;
            }
    }

    // A stress point may not be worse than the loss at the edge of the grid, worn down through the three tiers.
    [[nodiscard]] std::vector<double> Corrected(std::vector<double> points, const std::vector<double>& row,
                                                const BaseContractSample& contract) const
    {
        const MarketView::Rates rates = m_market.RatesOf(contract);
        const double shift = m_market.Shift(contract);
        const std::pair<double, double> limits = m_market.Limits(contract);
        const double limit1 = limits.first;
        const double limit2 = limits.second;
        const auto floors = [&](double edge, double sign) -> std::pair<double, double> {
            if (edge == 0.0) return {0.0, 0.0};
            const double m = rates.base + sign * shift;
            const double m1 = rates.one + sign * shift;
            const double m2 = rates.two + sign * shift;
            const double exposure = std::abs(edge / m);
            const double below = std::min(exposure, limit1);
            const double between = std::max(std::min(exposure, limit2) - limit1, 0.0);
            const double above = std::max(exposure - limit2, 0.0);
            return {-below * m - (between + above) * m1, -below * m - between * m1 - above * m2};
        };
        const auto [floor2D, floor3D] = floors(row.front(), -1.0);
        const auto [floor2U, floor3U] = floors(row.back(), 1.0);
        const auto lift = [&](Point p, double floor) {
            if (points[p] != 0.0) points[p] = std::max(floor, points[p]);
        };
        lift(PnL3D, floor3D);
        lift(PnL2D, floor2D);
        lift(PnL2U, floor2U);
        lift(PnL3U, floor3U);
        return points;
    }

    static double Worst(const std::vector<double>& values) { return details::Worst(values); }

    [[nodiscard]] double RatioOf(const std::string& code) const
    {
        const auto found = m_rules.ratios.find(code);
        return found == m_rules.ratios.end() ? 1.0 : found->second;
    }
    [[nodiscard]] double GroupRatio(const std::string& codeMCS) const
    {
        double ratio = 0.0;
        for (const BaseContractSample& c : m_market.Records().baseContracts)
            if (c.CodeMCS == codeMCS) ratio = std::max(ratio, RatioOf(c.Code));
        return ratio;
    }

    void AddMargin(Margins& total, const Outline& outline, const std::string& code) const
    {
        total.volatility += std::abs(std::min({0.0, Worst(outline.row), Worst(outline.point)})) * RatioOf(code);
        total.delivery +=
            std::abs(std::min({0.0, Worst(outline.deliveryRow), Worst(outline.deliveryPoint)})) * RatioOf(code);
    }

    // In a group the stress points of the delivery side are those of the volatility side, held against its own row.
    void AddToGroup(Outline& group, const Node& node, const BaseContractSample& contract) const
    {
        Outline outline = Rows(node);
        outline.point = Corrected(node.volatility.point, outline.row, contract);
        outline.deliveryPoint = Corrected(node.volatility.point, outline.deliveryRow, contract);
        Curve(outline, node, contract);
        const double ceiling = (m_market.Curvature(contract) + 1.0) * node.paperLoss;
        AddSide(group.row, group.point, outline.row, outline.point, contract, ceiling);
        AddSide(group.deliveryRow, group.deliveryPoint, outline.deliveryRow, outline.deliveryPoint, contract, ceiling);
    }
    void AddSide(std::vector<double>& sumRow, std::vector<double>& sumPoints, std::vector<double> row,
                 std::vector<double> points, const BaseContractSample& contract, double ceiling) const
    {
        if (m_rules.interContract == Enums::SpreadMarginType::Netting) {
            row = Windowed(row, contract);
            row.front() = std::min({points[PnL2D], points[PnL3D], row.front()});
            row.back() = std::min({points[PnL2U], points[PnL3U], row.back()});
            const double leftTail = std::min({points[ZL], points[DownRisk], ceiling});
            const double rightTail = std::min({points[ZR], points[UpRisk], ceiling});
            points.assign(PointCount, 0.0);
            points[ZL] = leftTail;
            points[ZR] = rightTail;
        } else {
            for (double& value : row)
                value = std::min(value, ceiling);
            for (double& value : points)
                value = std::min(value, ceiling);
        }
        details::Add(sumRow, row);
        details::Add(sumPoints, points);
    }

    static std::vector<double> Windowed(const std::vector<double>& row, const BaseContractSample& contract)
    {
        const auto window =
            static_cast<std::ptrdiff_t>(std::floor(contract.RiskPointsN * contract.WindowSizePercentage + 0.5));
        const auto size = static_cast<std::ptrdiff_t>(row.size());
        std::vector<double> windowed(row);
        for (std::ptrdiff_t i = 0; i < size; ++i)
            for (std::ptrdiff_t k = std::max<std::ptrdiff_t>(i - window, 0); k <= std::min(i + window, size - 1); ++k)
                windowed[static_cast<std::size_t>(i)] =
                    std::min(windowed[static_cast<std::size_t>(i)], row[static_cast<std::size_t>(k)]);
        return windowed;
    }

    MarketView m_market;
    Rules m_rules;
};

/// The margin of a level that nets the participants below it by their losses only: losses add up point by point within
/// a base contract, and between the base contracts of a group.
class SumOfLosses
{
public:
    explicit SumOfLosses(const Market& market) : m_market(market) {}

    void Add(const Outlines& losses)
    {
        for (const auto& [code, outline] : losses) {
            Outline& sum = m_sums.try_emplace(GroupOf(code), outline.row.size()).first->second;
            details::Add(sum.row, outline.row);
            details::Add(sum.deliveryRow, outline.deliveryRow);
            details::Add(sum.point, outline.point);
            details::Add(sum.deliveryPoint, outline.deliveryPoint);
        }
    }
    [[nodiscard]] Margins Total() const
    {
        Margins total;
        for (const auto& [code, sum] : m_sums) {
            total.volatility += std::abs(std::min(details::Worst(sum.row), details::Worst(sum.point)));
            total.delivery += std::abs(std::min(details::Worst(sum.deliveryRow), details::Worst(sum.deliveryPoint)));
        }
        return total;
    }

private:
    // Only a base contract can belong to a group.
    [[nodiscard]] std::string GroupOf(const std::string& code) const
    {
        for (const BaseContractSample& contract : m_market.baseContracts)
            if (contract.Code == code && !contract.CodeMCS.empty()) return "group " + contract.CodeMCS;
        return code;
    }

    const Market& m_market;
    std::map<std::string, Outline> m_sums;
};

} // namespace plain
