// PlainDeskBook: a desk's book whose figures can be worked out in the head: ten for each contract held or ordered.
#pragma once

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "DeskBook.h"
#include "Errors.h"

namespace quindal::test {

class PlainDeskBook : public DeskBook
{
public:
    static constexpr double MoneyOfAContract = 10.0;
    /// Orders and positions of so many contracts are more than this library takes.
    static constexpr std::int64_t TooMany = 1'000'000;

    PlainDeskBook()
    {
        const auto add = [this](AccountLevel level, const std::string& code, const std::string& parent) {
            AccountRow& row = m_accounts.rows.emplace_back();
            row.line = m_accounts.rows.size() + 1;
            row.level = level;
            row.code = code;
            row.parent = parent;
        };
        add(AccountLevelSettlementAccount, "HOUSE", "");
        add(AccountLevelFirm, "AA01", "HOUSE");
        add(AccountLevelClient, "AA01001", "");
        add(AccountLevelClient, "AA01002", "");
        m_codes.Add("INDX", InstrumentKind::BaseContract);
        m_codes.Add("INDX-12.26", InstrumentKind::Futures);
        m_codes.Add("INDX-3.27", InstrumentKind::Futures);
        m_codes.Add("INDX-12.26-3.27", InstrumentKind::CalendarSpread);
        m_codes.Add("XINDX-C100", InstrumentKind::Option);
        m_positions.rows.push_back(Held("AA01001", "INDX-12.26", -150'000));
        m_positions.rows.push_back(Held("AA01002", "XINDX-C100", 2));
        TakeFigures();
    }

    [[nodiscard]] const Rows<AccountRow>& Accounts() const override { return m_accounts; }
    [[nodiscard]] bool HasClient(const std::string& client) const override
    {
        return std::any_of(m_accounts.rows.begin(), m_accounts.rows.end(), [&](const AccountRow& row) {
            return row.level == AccountLevelClient && row.code == client;
        });
    }
    [[nodiscard]] const Rows<PositionRow>& Positions() const override { return m_positions; }
    [[nodiscard]] const MarketCodes& Instruments() const override { return m_codes; }
    [[nodiscard]] Provenance Origin() const override { return {{"market.xml", false, "0123", {}}, "EUR"}; }
    [[nodiscard]] std::vector<std::string> Warnings() const override { return {"warning: one thing"}; }
    [[nodiscard]] const MarginFigures& Figures() const override { return m_figures; }
    [[nodiscard]] double CalculatedPrice(const std::string&) const override { return 100.5; }

    [[nodiscard]] QuindalIM::MarginExplanation Explain(const std::string& client) override
    {
        using namespace QuindalIM;
        MarginExplanation told;
        told.margin = told.unrounded = told.volatility = told.delivery = Go(client);
        told.weight = 1.0;
        SideOutcome side;
        side.side = MarginSide::Delivery;
        side.margin = told.margin;
        side.isLoss = true;
        ContractOutcome& outcome = side.contracts.emplace_back();
        outcome.code = "INDX";
        outcome.kind = ContractOutcome::Kind::PricePoint;
        outcome.money = -told.margin;
        outcome.pricePoint = 0;
        outcome.price = 90.0;
        told.entities.push_back({MarginEntity::BaseContract, "INDX", 1.0, told.margin, {side}});
        for (const PositionRow& row : m_positions.rows)
            if (row.code == client) told.shares.push_back(ShareOf(row));
        told.levels = {{NettingLevel::Gross, 4.0 * told.margin, 0.0},
                       {NettingLevel::Series, told.margin, 3.0 * told.margin}};
        ContractGrid& grid = told.grids.emplace_back();
        grid.code = "INDX";
        grid.futures = "INDX-12.26";
        grid.prices = {90.0, 110.0};
        grid.scenarios = {{-told.margin, 5.0}};
        return told;
    }

    [[nodiscard]] std::vector<WhatIfFigures> Try(const Rows<OrderRow>& orders) override
    {
        std::vector<WhatIfFigures> figures;
        std::map<std::pair<std::string, std::string>, std::size_t> places;
        for (const OrderRow& row : orders.rows) {
            if (row.quantity >= TooMany) throw InputError(orders.Where(row) + ": too many contracts");
            const auto [place, isNew] = places.emplace(std::pair(row.whatIf, row.client), figures.size());
            const ClientFigures before = FiguresOf(row.client);
            if (isNew) figures.push_back({row.whatIf, before, before});
            ClientFigures& after = figures[place->second].after;
            const double added = MoneyOfAContract * static_cast<double>(row.quantity);
            after.GO += added;
            after.volatilityGO += added;
            after.deliveryAndVolatilityGO += added;
        }
        return figures;
    }

    [[nodiscard]] FitAnswer Largest(const FitQuestion& question) override
    {
        const double before = Go(question.client);
        const auto figures = [&](std::int64_t quantity) {
            const double added = MoneyOfAContract * static_cast<double>(quantity);
            return FitFigures{quantity, before + added, 0.0, added};
        };
        FitAnswer answer{figures(0), {}, {}, 1};
        const double room = question.isFree ? question.money : question.money - before;
        if (room < 0.0) return answer;
        const auto fitting = static_cast<std::int64_t>(std::min(room / MoneyOfAContract, 1e6));
        answer.with = figures(fitting);
        if (fitting < question.most) answer.next = figures(fitting + 1);
        return answer;
    }
    void Replace(Rows<PositionRow> positions) override
    {
        for (const PositionRow& row : positions.rows)
            if (std::abs(row.quantity) >= TooMany) throw InputError(positions.Where(row) + ": too many contracts");
        m_positions = std::move(positions);
        TakeFigures();
    }

private:
    static PositionRow Held(const std::string& client, const std::string& instrument, std::int64_t quantity)
    {
        PositionRow row;
        row.code = client;
        row.instrument = instrument;
        row.quantity = quantity;
        return row;
    }
    static QuindalIM::MarginShare ShareOf(const PositionRow& row)
    {
        QuindalIM::MarginShare share;
        share.instrument = row.instrument;
        share.quantity = row.quantity;
        share.price = row.price;
        share.margin = MoneyOfAContract * static_cast<double>(row.quantity);
        return share;
    }
    [[nodiscard]] double Go(const std::string& client) const
    {
        double go = 0.0;
        for (const PositionRow& row : m_positions.rows)
            if (row.code == client) go += MoneyOfAContract * std::abs(static_cast<double>(row.quantity));
        return go;
    }
    [[nodiscard]] ClientFigures FiguresOf(const std::string& client) const
    {
        const double go = Go(client);
        return {client, FirmOf(client), go, go, go};
    }
    void TakeFigures()
    {
        m_figures = {};
        for (const AccountRow& row : m_accounts.rows)
            if (row.level == AccountLevelClient) m_figures.clients.push_back(FiguresOf(row.code));
        m_figures.firms = {{"AA01", "HOUSE", Go("AA01001") + Go("AA01002")}};
        m_figures.settlementAccounts = {{"HOUSE", m_figures.firms[0].GO}};
    }

    Rows<AccountRow> m_accounts{"accounts.csv"};
    Rows<PositionRow> m_positions{"positions.csv"};
    MarketCodes m_codes;
    MarginFigures m_figures;
};

} // namespace quindal::test
