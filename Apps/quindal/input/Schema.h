// Schema: the rules of the files that people write, stated once. The readers, their messages, the help of the command
// line and docs/input-files.md are all made from these rules.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "Words.h"

namespace quindal {

/// Kinds of rows of a file, as bits: the levels of accounts.csv. Other files have one kind.
enum RowKinds : unsigned
{
    AccountRows = 1U << AccountLevelSettlementAccount,
    FirmRows = 1U << AccountLevelFirm,
    ClientRows = 1U << AccountLevelClient,
    RatioRows = 1U << AccountLevelRatio,
    AllRows = ~0U,
};

enum class CellKind
{
    Text,
    OneOf, // one of the rule's words
    Whole, // number without a fraction
    Number,
};

/// Rule of a column in rows of some kinds.
struct ColumnRule
{
    std::string_view column;
    unsigned rows = AllRows;
    CellKind kind = CellKind::Text;
    std::string_view unit = {};
    bool isRequired = false;
    std::string_view fallback = {};   ///< The text as which an empty cell is read.
    std::string_view emptyMeans = {}; ///< What an empty cell means, where the fallback does not say it.
    double least = 0.0;               ///< Of a number; of a text the least number of characters.
    double most = 0.0;                ///< Largest number; of a text the largest number of characters, 0 for any.
    std::string_view exception = {};  ///< A value allowed outside the range.
    int decimals = -1;                ///< Digits behind the point that count; more are refused. -1: all count.
    std::span<const Word> words = {};
    std::string_view meaning = {};
    bool isSecret = false; ///< No message shows its cells.
};

struct Schema
{
    std::string_view file; ///< Usual name: "accounts.csv".
    std::string_view purpose;
    std::span<const ColumnRule> rules;

    /// Rule of a column in rows of one kind; null when these rows do not have it.
    [[nodiscard]] const ColumnRule* Find(std::string_view column, unsigned rows) const;
    [[nodiscard]] bool HasColumn(std::string_view column) const;
    /// Names of the columns in their order, each once: "level,code,parent".
    [[nodiscard]] std::string Columns() const;
};

extern const Schema AccountsSchema;
extern const Schema PositionsSchema;
extern const Schema OrdersSchema;
extern const Schema BasketSchema;
extern const Schema UsersSchema;

/// The words as a list: "netting, half_netting".
[[nodiscard]] std::string Listed(std::span<const Word> words);
/// The range as a text: "from 0 to 1, or -1"; empty where any value is allowed.
[[nodiscard]] std::string RangeText(const ColumnRule& rule);

/// All rules as Markdown, for the reference page.
[[nodiscard]] std::string InputFilesReference();

} // namespace quindal
