#include "Actions.h"

#include <array>
#include <span>
#include <string_view>

#include "ReadRows.h"

namespace quindal {

namespace {

constexpr double MostContracts = 1e12;
constexpr double MostPrice = 99'999'999'999.0;

constexpr std::array KindWords{Word{"order", ActionOrder}, Word{"execute", ActionExecute}, Word{"close", ActionClose},
                               Word{"set", ActionSet}};

/// A parameter that an action may set, and how a row takes it over.
struct Parameter
{
    std::string_view column;
    void (*take)(AccountRow& row, const AccountRow& from);
};
constexpr std::array Parameters{
    Parameter{"margin_rule", [](AccountRow& row, const AccountRow& from) { row.marginRule = from.marginRule; }},
    Parameter{"calendar", [](AccountRow& row, const AccountRow& from) { row.calendar = from.calendar; }},
    Parameter{"inter_contract",
              [](AccountRow& row, const AccountRow& from) { row.interContract = from.interContract; }},
    Parameter{"exp_weight", [](AccountRow& row, const AccountRow& from) { row.expWeight = from.expWeight; }},
    Parameter{"clearings", [](AccountRow& row, const AccountRow& from) { row.clearings = from.clearings; }},
    Parameter{"no_discount", [](AccountRow& row, const AccountRow& from) { row.noDiscount = from.noDiscount; }},
    Parameter{"go_ratio", [](AccountRow& row, const AccountRow& from) { row.goRatio = from.goRatio; }},
    Parameter{"short_charge_ratio",
              [](AccountRow& row, const AccountRow& from) { row.shortChargeRatio = from.shortChargeRatio; }},
    Parameter{"risk_level", [](AccountRow& row, const AccountRow& from) { row.riskLevel = from.riskLevel; }}};

constexpr std::array<Word, Parameters.size()> ParameterWords = [] {
    std::array<Word, Parameters.size()> words{};
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = {Parameters[i].column, static_cast<std::int32_t>(i)};
    return words;
}();

constexpr std::array ActionRules{
    ColumnRule{.column = "what_if",
               .emptyMeans = "a what-if of its own, called # and its number",
               .meaning = "Label; the actions of one label are taken together"},
    ColumnRule{.column = "action",
               .kind = CellKind::OneOf,
               .isRequired = true,
               .words = KindWords,
               .meaning = "What would be done: an order sent, a trade executed, a position closed, a parameter set"},
    ColumnRule{.column = "level",
               .kind = CellKind::OneOf,
               .fallback = "client",
               .words = PositionLevelWords,
               .meaning = "What the code is of; orders are sent by clients"},
    ColumnRule{.column = "code", .isRequired = true, .meaning = "Who does it, one of the accounts"},
    ColumnRule{.column = "instrument",
               .emptyMeans = "of close: everything that is held; of order and execute: refused",
               .meaning = "Code of a futures, an option or, for an order, a calendar spread"},
    ColumnRule{.column = "side",
               .kind = CellKind::OneOf,
               .emptyMeans = "of order and execute: refused",
               .words = SideWords,
               .meaning = "Buy or sell"},
    ColumnRule{.column = "quantity",
               .kind = CellKind::Whole,
               .unit = "contracts",
               .emptyMeans = "of order and execute: refused",
               .least = 1,
               .most = MostContracts,
               .meaning = "Contracts ordered or executed"},
    ColumnRule{.column = "price",
               .kind = CellKind::Number,
               .unit = "price",
               .fallback = "0",
               .emptyMeans = "the calculated price of the instrument, as 0; a calendar spread has none",
               .least = -MostPrice,
               .most = MostPrice,
               .meaning = "Price of the order or the trade"},
    ColumnRule{.column = "parameter",
               .kind = CellKind::OneOf,
               .emptyMeans = "of set: refused",
               .words = ParameterWords,
               .meaning = "Column of accounts.csv that is set"},
    ColumnRule{.column = "value", .emptyMeans = "of set: as an empty cell of accounts.csv", .meaning = "Its value"},
};

constexpr std::array<std::string_view, 2> NeededByTrades{"side", "quantity"};
constexpr std::array<std::string_view, 4> OfTrades{"instrument", "side", "quantity", "price"};
constexpr std::array<std::string_view, 2> OfSettings{"parameter", "value"};

/// Refuses cells that say nothing in a row of this kind.
void RefuseGiven(RowReader& reader, std::span<const std::string_view> columns, const char* kind)
{
    for (const std::string_view column : columns)
        if (reader.IsGiven(column))
            reader.Refuse(column, "says nothing in a row of " + std::string(kind) + ": leave it empty");
}

void TakeTrade(RowReader& reader, ActionRow& row, const char* kind)
{
    RefuseGiven(reader, OfSettings, kind);
    if (!reader.IsGiven("instrument")) reader.Refuse("instrument", "is empty");
    for (const std::string_view column : NeededByTrades)
        if (!reader.IsGiven(column)) reader.Refuse(column, "is empty");
    row.instrument = reader.Text("instrument");
    row.isBuy = reader.IsGiven("side") && reader.Word("side") != 0;
    if (reader.IsGiven("quantity")) row.quantity = reader.Whole("quantity");
    row.price = reader.Number("price");
}

/// Reads the value as the cell of an account row of the level, with the rules and the messages of that file.
void TakeSetting(RowReader& reader, ActionRow& row, const InputFile& file, Problems& problems)
{
    RefuseGiven(reader, OfTrades, "set");
    if (!reader.IsGiven("parameter")) return reader.Refuse("parameter", "is empty");
    const auto parameter = reader.FindWord("parameter");
    if (!parameter) return;
    row.parameter = Parameters[static_cast<std::size_t>(*parameter)].column;
    const AccountLevel level = AccountLevelOf(row.level);
    const unsigned rows = 1U << static_cast<unsigned>(level);
    if (AccountsSchema.Find(row.parameter, rows) == nullptr)
        return reader.Refuse("parameter", "is none that rows of this level have in accounts.csv");
    if (!row.code.empty())
        row.values =
            ReadAccountCell({file.name, row.line, level, row.code, row.parameter, reader.Text("value")}, problems);
}

} // namespace

const Schema ActionsSchema{
    "actions.csv", "What-ifs of everything, for `quindal what-if`: orders, executions, closings, other parameters.",
    ActionRules};

AccountLevel AccountLevelOf(std::int32_t level)
{
    if (level == QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT) return AccountLevelSettlementAccount;
    return level == QUINDAL_ACCOUNT_HIERARCHY_BROKER ? AccountLevelFirm : AccountLevelClient;
}

void Set(AccountRow& row, const ActionRow& action)
{
    for (const Parameter& parameter : Parameters)
        if (parameter.column == action.parameter) parameter.take(row, action.values);
}

Rows<ActionRow> ReadActions(const InputFile& file, Problems& problems)
{
    return ReadRows<ActionRow>(file, ActionsSchema, problems, [&](RowReader& reader, ActionRow& row) {
        row.whatIf = reader.Text("what_if");
        const auto kind = reader.FindWord("action");
        if (!kind) return;
        row.kind = static_cast<ActionKind>(*kind);
        row.level = reader.FindWord("level").value_or(QUINDAL_ACCOUNT_HIERARCHY_CLIENT);
        row.code = reader.Text("code");
        switch (row.kind) {
        case ActionOrder:
            if (row.level != QUINDAL_ACCOUNT_HIERARCHY_CLIENT) reader.Refuse("level", "sends no orders: clients do");
            return TakeTrade(reader, row, "order");
        case ActionExecute:
            return TakeTrade(reader, row, "execute");
        case ActionClose:
            RefuseGiven(reader, std::array<std::string_view, 3>{"side", "quantity", "price"}, "close");
            RefuseGiven(reader, OfSettings, "close");
            row.instrument = reader.Text("instrument");
            return;
        case ActionSet:
            return TakeSetting(reader, row, file, problems);
        }
    });
}

} // namespace quindal
