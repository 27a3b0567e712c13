#include "Schema.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <vector>

namespace quindal {

namespace {

// A price or a quantity beyond these is a slip of the hand, and figures made of it lose their cents.
constexpr double MostMoney = 1e12;
constexpr double MostContracts = 1e12;
// Prices of orders are kept in 16 digits, five of them behind the point.
constexpr double MostOrderPrice = 99'999'999'999.0;
constexpr double MostOfBasket = 1e6;
constexpr double MostClearings = 127;
constexpr double MostRatio = 10.0; // the engine's limit for a base contract

constexpr int WeightDecimals = 2; // weights are kept in hundredths
constexpr int RatioDecimals = 5;  // ratios of clients in hundred-thousandths

constexpr std::array FlagWords{Word{"0", 0}, Word{"1", 1}, Word{"no", 0}, Word{"yes", 1}};

constexpr std::array AccountRules{
    ColumnRule{.column = "level",
               .kind = CellKind::OneOf,
               .isRequired = true,
               .words = AccountLevelWords,
               .meaning =
                   "What the row is: an account, a firm, a client, or the ratio of a firm for one base contract"},
    ColumnRule{.column = "code",
               .rows = AccountRows,
               .isRequired = true,
               .least = 1,
               .meaning = "Its id, of which the first 12 characters tell accounts apart"},
    ColumnRule{.column = "code", .rows = FirmRows, .isRequired = true, .least = 4, .most = 4, .meaning = "Its code"},
    ColumnRule{.column = "code",
               .rows = ClientRows,
               .isRequired = true,
               .least = 7,
               .most = 7,
               .meaning = "Its code, which begins with its firm's"},
    ColumnRule{.column = "code",
               .rows = RatioRows,
               .isRequired = true,
               .least = 4,
               .most = 4,
               .meaning = "The firm whose clients it is for"},
    ColumnRule{.column = "parent",
               .rows = FirmRows,
               .emptyMeans = "no account",
               .meaning = "The settlement account that it stands under"},
    ColumnRule{.column = "parent", .rows = ClientRows, .emptyMeans = "the firm of its code", .meaning = "Its firm"},
    ColumnRule{.column = "parent", .rows = RatioRows, .isRequired = true, .meaning = "The base contract"},
    ColumnRule{.column = "margin_rule",
               .rows = AccountRows,
               .kind = CellKind::OneOf,
               .fallback = "netting",
               .words = MarginRuleWords,
               .meaning = "How it comes to its margin: by records of its own (netting), by what its firms hold "
                          "(half_netting), by the sum of its firms' margins (gross)"},
    ColumnRule{.column = "margin_rule",
               .rows = FirmRows,
               .kind = CellKind::OneOf,
               .fallback = "half_netting",
               .words = MarginRuleWords,
               .meaning = "How it comes to its margin: by records of its own (netting), by what its clients hold"},
    ColumnRule{.column = "calendar",
               .rows = AccountRows | FirmRows | ClientRows,
               .kind = CellKind::OneOf,
               .fallback = "netting",
               .words = SpreadWords,
               .meaning = "Netting between the months of a base contract"},
    ColumnRule{.column = "inter_contract",
               .rows = AccountRows | FirmRows | ClientRows,
               .kind = CellKind::OneOf,
               .fallback = "half_netting",
               .words = SpreadWords,
               .meaning = "Netting between base contracts"},
    ColumnRule{.column = "exp_weight",
               .rows = FirmRows,
               .kind = CellKind::Number,
               .unit = "share",
               .fallback = "1",
               .most = 1.0,
               .decimals = WeightDecimals,
               .meaning = "How much the margin with deliveries counts; 0 or 1 under half_netting"},
    ColumnRule{.column = "exp_weight",
               .rows = ClientRows,
               .kind = CellKind::Number,
               .unit = "share",
               .fallback = "-1",
               .emptyMeans = "its firm's exp_weight_client_default",
               .most = 1.0,
               .exception = "-1",
               .decimals = WeightDecimals,
               .meaning = "How much the margin with deliveries counts"},
    ColumnRule{.column = "exp_weight_client_default",
               .rows = FirmRows,
               .kind = CellKind::Number,
               .unit = "share",
               .fallback = "1",
               .most = 1.0,
               .decimals = WeightDecimals,
               .meaning = "exp_weight of those of its clients that have none of their own"},
    ColumnRule{.column = "clearings",
               .rows = FirmRows,
               .kind = CellKind::Whole,
               .unit = "clearings",
               .fallback = "0",
               .most = MostClearings,
               .meaning = "How many clearings before an expiry its deliveries begin to count"},
    ColumnRule{.column = "clearings",
               .rows = ClientRows,
               .kind = CellKind::Whole,
               .unit = "clearings",
               .fallback = "-1",
               .emptyMeans = "as its firm has it for clients",
               .most = MostClearings,
               .exception = "-1",
               .meaning = "How many clearings before an expiry its deliveries begin to count"},
    ColumnRule{.column = "no_discount",
               .rows = ClientRows,
               .kind = CellKind::OneOf,
               .fallback = "0",
               .words = FlagWords,
               .meaning = "Whether futures are margined without discount"},
    ColumnRule{.column = "go_ratio",
               .rows = ClientRows,
               .kind = CellKind::Number,
               .unit = "factor",
               .fallback = "1",
               .most = MostRatio,
               .decimals = RatioDecimals,
               .meaning = "Factor on its margin"},
    ColumnRule{.column = "go_ratio",
               .rows = RatioRows,
               .kind = CellKind::Number,
               .unit = "factor",
               .isRequired = true,
               .most = MostRatio,
               .meaning = "Factor on the margin of that base contract"},
    ColumnRule{.column = "short_charge_ratio",
               .rows = AccountRows | FirmRows | ClientRows,
               .kind = CellKind::Number,
               .unit = "factor",
               .fallback = "1",
               .most = MostRatio,
               .meaning = "Factor on the minimum charge of short options"},
    ColumnRule{.column = "risk_level",
               .rows = ClientRows,
               .kind = CellKind::OneOf,
               .fallback = "default",
               .words = RiskLevelWords,
               .meaning = "Which market-risk rates it is margined at"},
    ColumnRule{.column = "account_type",
               .rows = FirmRows,
               .kind = CellKind::OneOf,
               .fallback = "ordinary",
               .words = AccountTypeWords,
               .meaning = "Kind of account"},
};

constexpr std::array PositionRules{
    ColumnRule{.column = "level",
               .kind = CellKind::OneOf,
               .fallback = "client",
               .words = PositionLevelWords,
               .meaning = "Who holds it; a firm or an account has records of its own under the netting rule only"},
    ColumnRule{.column = "code", .isRequired = true, .meaning = "Code of the holder, one of the accounts"},
    ColumnRule{.column = "instrument", .isRequired = true, .meaning = "Code of a futures or an option"},
    ColumnRule{.column = "quantity",
               .kind = CellKind::Whole,
               .unit = "contracts",
               .isRequired = true,
               .least = -MostContracts,
               .most = MostContracts,
               .meaning = "Contracts held, below 0 when sold"},
    ColumnRule{.column = "price",
               .kind = CellKind::Number,
               .unit = "price",
               .fallback = "0",
               .emptyMeans = "the calculated price of the instrument, as 0",
               .least = -MostMoney,
               .most = MostMoney,
               .meaning = "Average price"},
    ColumnRule{.column = "after_last_clearing",
               .kind = CellKind::Whole,
               .unit = "contracts",
               .emptyMeans = "the quantity",
               .least = -MostContracts,
               .most = MostContracts,
               .meaning = "What of it the last clearing left; the value of options goes by it"},
};

constexpr std::array OrderRules{
    ColumnRule{.column = "what_if",
               .emptyMeans = "a what-if of its own, called # and its number",
               .meaning = "Label; orders of one label are placed together, in their order"},
    ColumnRule{.column = "client", .isRequired = true, .meaning = "Who orders, a client of the accounts"},
    ColumnRule{
        .column = "instrument", .isRequired = true, .meaning = "Code of a futures, an option or a calendar spread"},
    ColumnRule{
        .column = "side", .kind = CellKind::OneOf, .isRequired = true, .words = SideWords, .meaning = "Buy or sell"},
    ColumnRule{.column = "quantity",
               .kind = CellKind::Whole,
               .unit = "contracts",
               .isRequired = true,
               .least = 1,
               .most = MostContracts,
               .meaning = "Contracts ordered"},
    ColumnRule{.column = "price",
               .kind = CellKind::Number,
               .unit = "price",
               .fallback = "0",
               .emptyMeans = "the calculated price of the instrument, as 0; a calendar spread has none",
               .least = -MostOrderPrice,
               .most = MostOrderPrice,
               .meaning = "Price of the order, rounded to five digits behind the point"},
};

constexpr std::array BasketRules{
    ColumnRule{
        .column = "instrument", .isRequired = true, .meaning = "Code of a futures, an option or a calendar spread"},
    ColumnRule{
        .column = "side", .kind = CellKind::OneOf, .isRequired = true, .words = SideWords, .meaning = "Buy or sell"},
    ColumnRule{.column = "ratio",
               .kind = CellKind::Whole,
               .unit = "contracts",
               .fallback = "1",
               .least = 1,
               .most = MostOfBasket,
               .meaning = "Contracts in one basket"},
    ColumnRule{.column = "price",
               .kind = CellKind::Number,
               .unit = "price",
               .fallback = "0",
               .emptyMeans = "the calculated price of the instrument, as 0; a calendar spread has none",
               .least = -MostOrderPrice,
               .most = MostOrderPrice,
               .meaning = "Price that it is ordered or traded at"},
};

constexpr std::array UserRules{
    ColumnRule{.column = "user", .isRequired = true, .least = 1, .meaning = "Name: letters, digits, \"_\" and \"-\""},
    ColumnRule{.column = "part_count",
               .kind = CellKind::Whole,
               .unit = "clients",
               .fallback = "2147483647",
               .least = 1,
               .most = 2147483647.0,
               .meaning = "How many clients the user may register"},
    ColumnRule{.column = "login_type", .fallback = "CLIENT", .meaning = "What the server tells the user of its login"},
    ColumnRule{.column = "password",
               .emptyMeans = "none, which a router of serve's own does not take",
               .meaning = "Password at a router of serve's own",
               .isSecret = true},
};

std::string NumberText(double value)
{
    if (std::abs(value) == 1e12) return value < 0.0 ? "-10^12" : "10^12"; // easier to read than zeros
    char text[32];
    const auto [end, error] = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed);
    return {text, end};
}

std::string KindsText(const ColumnRule& rule)
{
    if (rule.rows == AllRows) return "";
    std::string text;
    for (const auto& [word, level] : AccountLevelWords)
        if ((rule.rows & 1U << static_cast<unsigned>(level)) != 0)
            text += (text.empty() ? "" : ", ") + std::string(word);
    return text;
}

std::string EmptyText(const ColumnRule& rule)
{
    if (rule.isRequired) return "refused";
    if (!rule.emptyMeans.empty()) return std::string(rule.emptyMeans);
    return std::string(rule.fallback);
}

std::string ValuesText(const ColumnRule& rule)
{
    if (rule.kind == CellKind::OneOf) return Listed(rule.words);
    std::string text = rule.kind == CellKind::Text ? "text" : rule.kind == CellKind::Whole ? "whole number" : "number";
    if (!rule.unit.empty()) text += " (" + std::string(rule.unit) + ")";
    const std::string range = RangeText(rule);
    if (!range.empty()) text += ", " + range;
    if (rule.decimals >= 0) text += ", at most " + std::to_string(rule.decimals) + " digits behind the point";
    return text;
}

std::string Reference(const Schema& schema)
{
    std::string text = "## " + std::string(schema.file) + "\n\n" + std::string(schema.purpose) + "\n\n";
    const bool hasKinds = std::any_of(schema.rules.begin(), schema.rules.end(),
                                      [](const ColumnRule& rule) { return rule.rows != AllRows; });
    text += hasKinds ? "| Column | In rows of | Values | Empty | Meaning |\n|---|---|---|---|---|\n"
                     : "| Column | Values | Empty | Meaning |\n|---|---|---|---|\n";
    for (const ColumnRule& rule : schema.rules) {
        text += "| `" + std::string(rule.column) + "` | ";
        if (hasKinds) text += (rule.rows == AllRows ? "all" : KindsText(rule)) + " | ";
        text += ValuesText(rule) + " | " + EmptyText(rule) + " | " + std::string(rule.meaning) + " |\n";
    }
    return text;
}

} // namespace

const Schema AccountsSchema{"accounts.csv",
                            "Settlement accounts, the firms under them, their clients, and ratios of firms for base "
                            "contracts. The rows may stand in any order.",
                            AccountRules};
const Schema PositionsSchema{"positions.csv", "What is held: one row for each holder and instrument.", PositionRules};
const Schema OrdersSchema{"orders.csv", "What-ifs: orders that nobody has sent.", OrderRules};
const Schema BasketSchema{"basket.csv", "A basket for `quindal fit`: what is traded together, in fixed ratios.",
                          BasketRules};
const Schema UsersSchema{"users.csv", "Who may log in at `quindal serve`.", UserRules};

const ColumnRule* Schema::Find(std::string_view column, unsigned rows) const
{
    for (const ColumnRule& rule : rules)
        if (rule.column == column && (rule.rows & rows) != 0) return &rule;
    return nullptr;
}

bool Schema::HasColumn(std::string_view column) const { return Find(column, AllRows) != nullptr; }

std::string Schema::Columns() const
{
    std::vector<std::string_view> columns;
    std::string text;
    for (const ColumnRule& rule : rules) {
        if (std::find(columns.begin(), columns.end(), rule.column) != columns.end()) continue;
        columns.push_back(rule.column);
        text += (text.empty() ? "" : ",") + std::string(rule.column);
    }
    return text;
}

std::string Listed(std::span<const Word> words)
{
    std::string text;
    for (const auto& [word, value] : words)
        text += (text.empty() ? "" : ", ") + std::string(word);
    return text;
}

std::string RangeText(const ColumnRule& rule)
{
    if (rule.kind == CellKind::Text) {
        if (rule.most == 0.0) return "";
        return (rule.least == rule.most ? "" : "at most ") + NumberText(rule.most) + " characters";
    }
    std::string text = "from " + NumberText(rule.least) + " to " + NumberText(rule.most);
    if (!rule.exception.empty()) text += ", or " + std::string(rule.exception);
    return text;
}

std::string InputFilesReference()
{
    std::string text;
    for (const Schema* schema : {&AccountsSchema, &PositionsSchema, &OrdersSchema, &BasketSchema, &UsersSchema})
        text += (text.empty() ? "" : "\n") + Reference(*schema);
    return text;
}

} // namespace quindal
