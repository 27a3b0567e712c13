// The rows of the files that people write, each value read and checked by the schema of the file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "CsvTable.h"
#include "Problems.h"
#include "QuindalIM.h"
#include "Words.h"

namespace quindal {

struct AccountRow
{
    std::size_t line = 0;
    AccountLevel level = AccountLevelClient;
    std::string code;   ///< Of a ratio: the firm.
    std::string parent; ///< Of a firm: its account, or empty; of a ratio: the base contract.
    QuindalMarginRule marginRule = QUINDAL_MARGIN_RULE_NETTING;
    QuindalSpreadMarginType calendar = QUINDAL_SPREAD_MARGIN_TYPE_NETTING;
    QuindalSpreadMarginType interContract = QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING;
    double expWeight = 1.0; ///< -1: that of the firm.
    double expWeightClientDefault = 1.0;
    std::int32_t clearings = 0; ///< -1: those of the firm.
    bool noDiscount = false;
    double goRatio = 1.0;
    double shortChargeRatio = 1.0;
    std::int32_t riskLevel = QUINDAL_CLIENT_RISK_LEVEL_DEFAULT;
    std::int32_t accountType = QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY;
};

struct PositionRow
{
    std::size_t line = 0;
    std::int32_t level = QUINDAL_ACCOUNT_HIERARCHY_CLIENT;
    std::string code;
    std::string instrument;
    std::int64_t quantity = 0;
    double price = 0.0; ///< 0: the calculated price of the instrument.
    std::int64_t afterLastClearing = 0;
};

struct OrderRow
{
    std::size_t line = 0;
    std::string whatIf; ///< Empty: a what-if of its own.
    std::string client;
    std::string instrument;
    bool isBuy = true;
    std::int64_t quantity = 0;
    double price = 0.0; ///< 0: the calculated price of the instrument.
};

/// Money of an account, a firm or a client: a limit of its margin, or the margin that somebody else has computed.
struct MoneyRow
{
    std::size_t line = 0;
    std::int32_t level = QUINDAL_ACCOUNT_HIERARCHY_CLIENT;
    std::string code;
    double money = 0.0;
};

struct BasketRow
{
    std::size_t line = 0;
    std::string instrument;
    bool isBuy = true;
    std::int64_t ratio = 1;
    double price = 0.0; ///< 0: the calculated price of the instrument.
};

struct UserRow
{
    std::size_t line = 0;
    std::string user;
    std::int32_t partCount = 0;
    std::string loginType;
    std::string password;
};

/// The rows of one file. Where there are problems, a value that could not be read is that of an empty cell.
template <class Row>
struct Rows
{
    std::string file; ///< Name in messages.
    std::vector<Row> rows = {};

    /// Place of a row in messages: "FILE:LINE".
    [[nodiscard]] std::string Where(const Row& row) const { return file + ":" + std::to_string(row.line); }
};

[[nodiscard]] Rows<AccountRow> ReadAccounts(const InputFile& file, Problems& problems);

/// A cell of a row of accounts.csv that stands in another file.
struct CellOfAccount
{
    std::string file; ///< Name in messages, with the line.
    std::size_t line = 0;
    AccountLevel level = AccountLevelClient;
    std::string code;
    std::string column;
    std::string value;
};
/// Reads the cell by the rules of accounts.csv; the other values of the row are those of empty cells.
[[nodiscard]] AccountRow ReadAccountCell(const CellOfAccount& cell, Problems& problems);

[[nodiscard]] Rows<PositionRow> ReadPositions(const InputFile& file, Problems& problems);
[[nodiscard]] Rows<OrderRow> ReadOrders(const InputFile& file, Problems& problems);
/// Reads orders out of a table that was made elsewhere, by the same rules.
[[nodiscard]] Rows<OrderRow> ReadOrderTable(CsvTable table, Problems& problems);
[[nodiscard]] Rows<MoneyRow> ReadLimits(const InputFile& file, Problems& problems);
/// Reads the margins that the clearing has computed; columns that are none of ours are passed over.
[[nodiscard]] Rows<MoneyRow> ReadClearing(const InputFile& file, Problems& problems);
/// Reads a basket. An instrument that stands twice, and a basket of nothing, become problems.
[[nodiscard]] Rows<BasketRow> ReadBasket(const InputFile& file, Problems& problems);
/// Reads the users. A name that stands twice, and a name with other letters than a router takes, become problems.
[[nodiscard]] Rows<UserRow> ReadUsers(const InputFile& file, bool needPasswords, Problems& problems);

/// Code of a client's firm, with which the client's code begins.
[[nodiscard]] std::string FirmOf(const std::string& client);

} // namespace quindal
