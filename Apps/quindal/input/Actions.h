// Actions: what-ifs of more than orders. Each row says what would be done: an order sent, a trade executed, a position
// closed, a parameter of a client, a firm or an account set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "InputFile.h"
#include "Problems.h"
#include "Rows.h"
#include "Schema.h"

namespace quindal {

enum ActionKind : std::int32_t
{
    ActionOrder,   // sent, and not filled
    ActionExecute, // bought or sold: the position is another
    ActionClose,   // the position is nothing, or everything that is held
    ActionSet,     // a parameter of accounts.csv has another value
};

struct ActionRow
{
    std::size_t line = 0;
    std::string whatIf; ///< Empty: a what-if of its own.
    ActionKind kind = ActionOrder;
    std::int32_t level = QUINDAL_ACCOUNT_HIERARCHY_CLIENT; ///< Of the code.
    std::string code;
    std::string instrument; ///< Of a closing: empty for everything that is held.
    bool isBuy = true;
    std::int64_t quantity = 0;
    double price = 0.0;    ///< 0: the calculated price of the instrument.
    std::string parameter; ///< Of a setting: a column of accounts.csv.
    AccountRow values;     ///< Of a setting: has the parameter's value.
};

/// Reads the rows. What an action needs and does not have, what it has and does not need, and values that the parameter
/// does not take, become problems.
[[nodiscard]] Rows<ActionRow> ReadActions(const InputFile& file, Problems& problems);

/// Level of the accounts file that a position's level is.
[[nodiscard]] AccountLevel AccountLevelOf(std::int32_t level);
/// Gives a row the parameter that an action sets.
void Set(AccountRow& row, const ActionRow& action);

} // namespace quindal
