#include "DerivedLevels.h"

#include <cmath>
#include <cstdio>
#include <map>
#include <set>
#include <utility>

namespace quindal {

namespace {

/// Sum of the records of a level's clients in one instrument.
struct Sum
{
    std::int64_t quantity = 0;
    std::int64_t afterLastClearing = 0;
    double money = 0.0;       // quantity times price
    double turnover = 0.0;    // quantity times price, without signs
    bool isCalculated = true; // all rows are at the calculated price
};

// Quantities of rows are within 10^12, so millions of them add up without overflow.
Sum SumOf(const std::vector<const PositionRow*>& rows, const std::function<double(const std::string&)>& calculatedPrice)
{
    Sum sum;
    for (const PositionRow* const row : rows) {
        const double price = row->price == 0.0 ? calculatedPrice(row->instrument) : row->price;
        const double money = static_cast<double>(row->quantity) * price;
        sum.quantity += row->quantity;
        sum.afterLastClearing += row->afterLastClearing;
        sum.money += money;
        sum.turnover += std::abs(money);
        sum.isCalculated = sum.isCalculated && row->price == 0.0;
    }
    return sum;
}

double PriceOf(const Sum& sum)
{
    if (sum.isCalculated || sum.quantity == 0) return 0.0;
    const double price = sum.money / static_cast<double>(sum.quantity);
    // 0 would stand for the calculated price.
    return price == 0.0 ? 1e-300 : price;
}

bool LeavesMoney(const Sum& sum) { return sum.quantity == 0 && std::abs(sum.money) > 1e-12 * sum.turnover; }

std::string InCents(double money)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.2f", money);
    return text;
}

void DeriveLevel(const EmptyLevel& level, const std::function<double(const std::string&)>& calculatedPrice,
                 DerivedRecords& records)
{
    std::vector<std::string> instruments; // in the order in which they first come
    std::map<std::string, std::vector<const PositionRow*>> rows;
    for (const PositionRow* const row : level.below) {
        auto& ofInstrument = rows[row->instrument];
        if (ofInstrument.empty()) instruments.push_back(row->instrument);
        ofInstrument.push_back(row);
    }
    for (const std::string& instrument : instruments) {
        const Sum sum = SumOf(rows.at(instrument), calculatedPrice);
        if (LeavesMoney(sum))
            records.warnings.push_back(level.Name() + ": the quantities of its clients in " + instrument +
                                       " cancel, quantity times price leaves " + InCents(sum.money) +
                                       ", which no record can hold");
        if (sum.quantity == 0 && sum.afterLastClearing == 0) continue;
        records.rows.push_back(
            {0, level.level, level.code, instrument, sum.quantity, PriceOf(sum), sum.afterLastClearing});
    }
}

} // namespace

std::string EmptyLevel::Name() const
{
    return (level == QUINDAL_ACCOUNT_HIERARCHY_BROKER ? "firm " : "account ") + code;
}

std::vector<EmptyLevel> LevelsWithoutRecords(const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions)
{
    std::map<std::string, std::string> accountOfFirm;
    for (const AccountRow& row : accounts.rows)
        if (row.level == AccountLevelFirm) accountOfFirm.emplace(row.code, row.parent);
    std::set<std::pair<std::int32_t, std::string>> withRecords;
    std::map<std::pair<std::int32_t, std::string>, std::vector<const PositionRow*>> below;
    for (const PositionRow& row : positions.rows) {
        if (row.level != QUINDAL_ACCOUNT_HIERARCHY_CLIENT) {
            withRecords.emplace(row.level, row.code);
            continue;
        }
        const std::string firm = FirmOf(row.code);
        below[{QUINDAL_ACCOUNT_HIERARCHY_BROKER, firm}].push_back(&row);
        below[{QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, accountOfFirm[firm]}].push_back(&row);
    }
    std::vector<EmptyLevel> levels;
    for (const auto& [ofAccounts, level] :
         {std::pair{AccountLevelFirm, QUINDAL_ACCOUNT_HIERARCHY_BROKER},
          std::pair{AccountLevelSettlementAccount, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT}})
        for (const AccountRow& row : accounts.rows) {
            if (row.level != ofAccounts || row.marginRule != QUINDAL_MARGIN_RULE_NETTING) continue;
            const std::pair<std::int32_t, std::string> key{level, row.code};
            const auto held = below.find(key);
            if (held != below.end() && !withRecords.contains(key)) levels.push_back({level, row.code, held->second});
        }
    return levels;
}

std::vector<std::string> FirmsThatNothingReaches(const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions)
{
    std::set<std::string> halfNettingAccounts;
    for (const AccountRow& row : accounts.rows)
        if (row.level == AccountLevelSettlementAccount && row.marginRule == QUINDAL_MARGIN_RULE_HALF_NETTING)
            halfNettingAccounts.insert(row.code);
    std::set<std::string> withClients;
    for (const PositionRow& row : positions.rows)
        if (row.level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT && row.quantity != 0) withClients.insert(FirmOf(row.code));
    std::vector<std::string> firms;
    for (const AccountRow& row : accounts.rows)
        if (row.level == AccountLevelFirm && row.marginRule == QUINDAL_MARGIN_RULE_GROSS &&
            !halfNettingAccounts.contains(row.parent) && withClients.contains(row.code))
            firms.push_back(row.code);
    return firms;
}

DerivedRecords Derive(const std::vector<EmptyLevel>& levels,
                      const std::function<double(const std::string&)>& calculatedPrice)
{
    DerivedRecords records;
    for (const EmptyLevel& level : levels)
        DeriveLevel(level, calculatedPrice, records);
    return records;
}

} // namespace quindal
