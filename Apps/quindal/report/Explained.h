// What the explain command has found out: whose margin it is, and how it comes about.
#pragma once

#include <string>
#include <vector>

#include "MarginExplanation.h"

namespace quindal {

enum class HolderKind
{
    Client,
    Firm,
    Account,
};

/// A client of a firm, or a firm of an account.
struct Member
{
    std::string code;
    double GO = 0.0;
};

struct ExplainedMargin
{
    HolderKind kind = HolderKind::Client;
    std::string code;
    double GO = 0.0;
    std::string rule;                         ///< Word of a level's rule, "netting"; empty for a client.
    bool livesByMembers = false;              ///< The level has no records of its own: `members` instead of all below.
    std::vector<Member> members;              ///< Of a level that lives by them, in the order of the accounts.
    QuindalIM::MarginExplanation explanation; ///< Of the records of its own.
};

/// "client CL01001", "firm CL01", "account CLIENTS".
[[nodiscard]] inline std::string NameOf(const ExplainedMargin& explained)
{
    const char* const kind = explained.kind == HolderKind::Client ? "client "
                             : explained.kind == HolderKind::Firm ? "firm "
                                                                  : "account ";
    return kind + explained.code;
}

} // namespace quindal
