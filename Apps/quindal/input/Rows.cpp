#include "Rows.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

#include "CsvTable.h"
#include "ReadRows.h"
#include "RowReader.h"
#include "UserNames.h"

namespace quindal {

namespace {

std::string_view NameOf(AccountLevel level)
{
    switch (level) {
    case AccountLevelSettlementAccount:
        return "an account";
    case AccountLevelFirm:
        return "a firm";
    case AccountLevelClient:
        return "a client";
    default:
        return "a ratio";
    }
}

/// Reads the word of a column that rows of this level have; otherwise keeps the row's value.
template <class Enumeration>
void TakeWord(RowReader& reader, const Schema& schema, std::string_view column, unsigned rows, Enumeration& value)
{
    if (schema.Find(column, rows) != nullptr) value = static_cast<Enumeration>(reader.Word(column));
}
void TakeNumber(RowReader& reader, std::string_view column, unsigned rows, double& value)
{
    if (AccountsSchema.Find(column, rows) != nullptr) value = reader.Number(column);
}

void TakeAccount(RowReader& reader, AccountRow& row)
{
    const auto word = reader.FindWord("level");
    if (!word) return;
    row.level = static_cast<AccountLevel>(*word);
    const unsigned rows = 1U << static_cast<unsigned>(row.level);
    reader.SetKind(rows, NameOf(row.level));
    row.code = reader.Text("code");
    if (AccountsSchema.Find("parent", rows) != nullptr) row.parent = reader.Text("parent");
    TakeWord(reader, AccountsSchema, "margin_rule", rows, row.marginRule);
    TakeWord(reader, AccountsSchema, "calendar", rows, row.calendar);
    TakeWord(reader, AccountsSchema, "inter_contract", rows, row.interContract);
    TakeNumber(reader, "exp_weight", rows, row.expWeight);
    TakeNumber(reader, "exp_weight_client_default", rows, row.expWeightClientDefault);
    if (AccountsSchema.Find("clearings", rows) != nullptr)
        row.clearings = static_cast<std::int32_t>(reader.Whole("clearings"));
    TakeWord(reader, AccountsSchema, "no_discount", rows, row.noDiscount);
    TakeNumber(reader, "go_ratio", rows, row.goRatio);
    TakeNumber(reader, "short_charge_ratio", rows, row.shortChargeRatio);
    TakeWord(reader, AccountsSchema, "risk_level", rows, row.riskLevel);
    TakeWord(reader, AccountsSchema, "account_type", rows, row.accountType);
    // The engine would read any value between as 1.
    const bool isHalf = row.level == AccountLevelFirm && row.marginRule == QUINDAL_MARGIN_RULE_HALF_NETTING;
    if (isHalf && row.expWeight > 0.0 && row.expWeight < 1.0)
        reader.Refuse("exp_weight", "is neither 0 nor 1, as half_netting asks of a firm");
}

void TakePosition(RowReader& reader, PositionRow& row)
{
    row.level = reader.FindWord("level").value_or(QUINDAL_ACCOUNT_HIERARCHY_CLIENT);
    row.code = reader.Text("code");
    row.instrument = reader.Text("instrument");
    row.quantity = reader.Whole("quantity");
    row.price = reader.Number("price");
    row.afterLastClearing = reader.IsGiven("after_last_clearing") ? reader.Whole("after_last_clearing") : row.quantity;
}

void TakeOrder(RowReader& reader, OrderRow& row)
{
    row.whatIf = reader.Text("what_if");
    row.client = reader.Text("client");
    row.instrument = reader.Text("instrument");
    row.isBuy = reader.Word("side") != 0;
    row.quantity = reader.Whole("quantity");
    row.price = reader.Number("price");
}

void TakeMoney(RowReader& reader, MoneyRow& row, const char* column)
{
    row.level = reader.FindWord("level").value_or(QUINDAL_ACCOUNT_HIERARCHY_CLIENT);
    row.code = reader.Text("code");
    row.money = reader.Number(column);
}

} // namespace

AccountRow ReadAccountCell(const CellOfAccount& cell, Problems& problems)
{
    const std::string level(AccountLevelWords[static_cast<std::size_t>(cell.level)].first);
    const CsvRow cells{cell.line, {level, cell.code, cell.value}};
    const SchemaTable table({cell.file, {cell.line, {"level", "code", cell.column}}, {cells}}, AccountsSchema,
                            problems);
    RowReader reader(table, cells, problems);
    AccountRow row;
    TakeAccount(reader, row);
    return row;
}

Rows<AccountRow> ReadAccounts(const InputFile& file, Problems& problems)
{
    return ReadRows<AccountRow>(file, AccountsSchema, problems, TakeAccount);
}

Rows<PositionRow> ReadPositions(const InputFile& file, Problems& problems)
{
    return ReadRows<PositionRow>(file, PositionsSchema, problems, TakePosition);
}

Rows<OrderRow> ReadOrders(const InputFile& file, Problems& problems)
{
    return ReadRows<OrderRow>(file, OrdersSchema, problems, TakeOrder);
}

Rows<OrderRow> ReadOrderTable(CsvTable table, Problems& problems)
{
    return ReadRows<OrderRow>(std::move(table), OrdersSchema, problems, TakeOrder);
}

Rows<MoneyRow> ReadLimits(const InputFile& file, Problems& problems)
{
    return ReadRows<MoneyRow>(file, LimitsSchema, problems,
                              [](RowReader& reader, MoneyRow& row) { TakeMoney(reader, row, "limit"); });
}

Rows<MoneyRow> ReadClearing(const InputFile& file, Problems& problems)
{
    return ReadRows<MoneyRow>(file, ClearingSchema, problems,
                              [](RowReader& reader, MoneyRow& row) { TakeMoney(reader, row, "go"); });
}

Rows<BasketRow> ReadBasket(const InputFile& file, Problems& problems)
{
    std::map<std::string, std::size_t> lines;
    Rows<BasketRow> rows = ReadRows<BasketRow>(file, BasketSchema, problems, [&](RowReader& reader, BasketRow& row) {
        row.instrument = reader.Text("instrument");
        row.isBuy = reader.Word("side") != 0;
        row.ratio = reader.Whole("ratio");
        row.price = reader.Number("price");
        const auto [before, isNew] = lines.emplace(row.instrument, row.line);
        if (!isNew && !row.instrument.empty())
            reader.Refuse("instrument", "stands twice, first in line " + std::to_string(before->second));
    });
    if (rows.rows.empty() && problems.IsEmpty()) problems.Add({file.name, 0, {}, {}, "has no rows"});
    return rows;
}

Rows<UserRow> ReadUsers(const InputFile& file, bool needPasswords, Problems& problems)
{
    std::map<std::string, std::size_t> lines;
    return ReadRows<UserRow>(file, UsersSchema, problems, [&](RowReader& reader, UserRow& row) {
        row.user = reader.Text("user");
        row.partCount = static_cast<std::int32_t>(reader.Whole("part_count"));
        row.loginType = reader.Text("login_type");
        row.password = reader.Text("password");
        if (!row.user.empty() && !IsUserName(row.user))
            reader.Refuse("user", "has other characters than letters, digits, \"_\" and \"-\"");
        const auto [before, isNew] = lines.emplace(row.user, row.line);
        if (!isNew && !row.user.empty())
            reader.Refuse("user", "stands twice, first in line " + std::to_string(before->second));
        if (needPasswords && row.password.empty()) reader.Refuse("password", "is empty");
    });
}

std::string FirmOf(const std::string& client) { return client.substr(0, 4); }

} // namespace quindal
