// DrawnTree: an account tree of any rules, as plain records.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Enums.h"
#include "PlainMargin.h"

namespace simulation {

/// Parameters that every level has.
struct Netting
{
    Enums::SpreadMarginType calendar = Enums::SpreadMarginType::Netting;
    Enums::SpreadMarginType interContract = Enums::SpreadMarginType::Netting;
    double shortChargeRatio = 1.0;
};

struct Account
{
    std::string id;
    Enums::MarginRule rule = Enums::MarginRule::Netting;
    Netting netting = {};
};

inline constexpr std::size_t NoAccount = static_cast<std::size_t>(-1);

struct Firm
{
    std::string code;
    std::size_t account = NoAccount;
    Enums::MarginRule rule = Enums::MarginRule::Netting;
    Netting netting = {};
    double weight = 1.0;            // of the delivery margin, as it is registered
    double weightOfClients = 1.0;   // of those that have none of their own
    std::string ratioContract = {}; // a base contract with a ratio; empty for none
    double ratio = 1.0;

    /// Under HalfNetting the weight is 0 or 1; what lies between becomes 1.
    [[nodiscard]] double UsedWeight() const
    {
        return rule == Enums::MarginRule::HalfNetting && weight != 0.0 ? 1.0 : weight;
    }
};

struct Client
{
    static constexpr double WeightOfFirm = -1.0;

    std::string code;
    std::size_t firm = 0;
    plain::Rules rules = {}; // clearings -1: as the firm has it, which is never
    double goRatio = 1.0;
    double weight = 0.5;
};

struct Tree
{
    std::vector<Account> accounts;
    std::vector<Firm> firms;
    std::vector<Client> clients;

    [[nodiscard]] const Account* AccountOf(const Firm& firm) const
    {
        return firm.account == NoAccount ? nullptr : &accounts[firm.account];
    }
    /// A firm without an account stands below one under Gross.
    [[nodiscard]] Enums::MarginRule RuleAbove(const Firm& firm) const
    {
        const Account* const account = AccountOf(firm);
        return account == nullptr ? Enums::MarginRule::Gross : account->rule;
    }
    /// Whether some level above the clients of a firm takes their losses.
    [[nodiscard]] bool TakesLosses(const Firm& firm) const
    {
        return firm.rule == Enums::MarginRule::HalfNetting || RuleAbove(firm) == Enums::MarginRule::HalfNetting;
    }
    [[nodiscard]] bool LivesByRecords(const Firm& firm) const
    {
        return firm.rule == Enums::MarginRule::Netting &&
               (firm.account == NoAccount || RuleAbove(firm) == Enums::MarginRule::Netting);
    }
};

/// One to three accounts, one to four firms with or without one, up to three clients each.
[[nodiscard]] Tree DrawTree(std::uint64_t seed, const plain::Market& market);

} // namespace simulation
