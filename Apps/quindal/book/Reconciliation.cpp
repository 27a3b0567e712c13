#include "Reconciliation.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

#include "BookSelection.h"
#include "Limits.h"
#include "TextTable.h"
#include "Words.h"

namespace quindal {

namespace {

constexpr double HalfACent = 0.005;

bool AreEqual(double a, double b) noexcept { return std::abs(a - b) < HalfACent; }

double InCents(double money) { return std::round(money * 100.0) / 100.0; }

/// The names of the levels of a book, in the order of its figures.
std::vector<std::pair<std::int32_t, std::string>> LevelsOf(const MarginFigures& figures)
{
    std::vector<std::pair<std::int32_t, std::string>> levels;
    for (const ClientFigures& client : figures.clients)
        levels.emplace_back(QUINDAL_ACCOUNT_HIERARCHY_CLIENT, client.code);
    for (const FirmFigures& firm : figures.firms)
        levels.emplace_back(QUINDAL_ACCOUNT_HIERARCHY_BROKER, firm.code);
    for (const SettlementAccountFigures& account : figures.settlementAccounts)
        levels.emplace_back(QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, account.id);
    return levels;
}

/// Largest difference first among those that do not agree; equal ones stay in their order.
bool ComesBefore(const ReconciledLevel& a, const ReconciledLevel& b)
{
    if (a.agreement != b.agreement) return a.agreement > b.agreement;
    return a.agreement != Agreement::Equal && std::abs(a.difference) > std::abs(b.difference);
}

} // namespace

bool Tolerance::Covers(double difference, double clearing) const noexcept
{
    // A figure in cents that is as far away as it may be is so up to the last bit of a double.
    return std::abs(difference) < (isShare ? amount * std::abs(clearing) : amount) + 1e-6;
}

std::vector<ReconciledLevel> Reconciled(const Rows<MoneyRow>& clearing, const MarginFigures& figures,
                                        const Tolerance& tolerance)
{
    const auto marginOf = MarginsByLevel(figures);
    const std::vector<std::pair<std::int32_t, std::string>> levels = LevelsOf(figures);
    const std::set<std::pair<std::int32_t, std::string>> known(levels.begin(), levels.end());
    std::set<std::pair<std::int32_t, std::string>> told;
    std::set<std::int32_t> levelsTold;
    std::vector<ReconciledLevel> all;
    for (const MoneyRow& row : clearing.rows) {
        told.emplace(row.level, row.code);
        levelsTold.insert(row.level);
        ReconciledLevel& level = all.emplace_back(ReconciledLevel{row.level, row.code, {}, row.money});
        if (known.contains({row.level, row.code})) level.ours = marginOf(row.level, row.code);
        level.difference = InCents(row.money - level.ours.value_or(0.0));
        if (AreEqual(row.money, level.ours.value_or(0.0)))
            level.agreement = Agreement::Equal;
        else if (level.ours && tolerance.Covers(level.difference, row.money))
            level.agreement = Agreement::Within;
    }
    for (const auto& [level, code] : levels) {
        const double ours = marginOf(level, code);
        if (levelsTold.contains(level) && !told.contains({level, code}) && ours != 0.0)
            all.push_back({level, code, ours, {}, InCents(-ours), Agreement::Off});
    }
    std::stable_sort(all.begin(), all.end(), ComesBefore);
    return all;
}

std::vector<std::string> ExplainedByNumbers(double ours, double clearing)
{
    std::vector<std::string> explanations;
    for (const auto& [unit, called] : {std::pair(0.1, "tenths"), std::pair(1.0, "units"), std::pair(10.0, "tens"),
                                       std::pair(100.0, "hundreds"), std::pair(1000.0, "thousands")}) {
        // The smallest unit that does it is the one that was meant.
        if (AreEqual(std::ceil(ours / unit - 1e-9) * unit, clearing))
            explanations.push_back(std::string("ours, rounded up to whole ") + called);
        else if (AreEqual(std::round(ours / unit) * unit, clearing))
            explanations.push_back(std::string("ours, rounded to whole ") + called);
        if (!explanations.empty()) return explanations;
    }
    // A factor of two digits that hits a cent: of small figures many would.
    constexpr double leastToTell = 1000.0;
    const double factor = InCents(clearing / ours);
    if (ours > leastToTell && factor > 0.0 && factor != 1.0 && std::abs(factor * ours - clearing) < 2 * HalfACent)
        explanations.push_back(Cents(factor) + " times ours, as a GO ratio would have it");
    return explanations;
}

std::vector<std::string> ExplainedByClients(const ReconciledLevel& level, const std::vector<ReconciledLevel>& all,
                                            const Rows<AccountRow>& accounts)
{
    if (level.level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT) return {};
    std::set<std::string> firms;
    for (const AccountRow& row : accounts.rows) {
        const bool isOf =
            level.level == QUINDAL_ACCOUNT_HIERARCHY_BROKER ? row.code == level.code : row.parent == level.code;
        if (row.level == AccountLevelFirm && isOf) firms.insert(row.code);
    }
    std::string names;
    std::size_t count = 0;
    constexpr std::size_t mostNamed = 5;
    for (const ReconciledLevel& other : all) {
        const bool isBelow = other.level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT && firms.contains(FirmOf(other.code));
        if (!isBelow || other.agreement != Agreement::Off) continue;
        if (++count <= mostNamed) names += (names.empty() ? "" : ", ") + other.code;
    }
    if (count == 0) return {};
    if (count > mostNamed) names += " and " + std::to_string(count - mostNamed) + " more";
    return {"clients below are off themselves: " + names};
}

ClientTrials::ClientTrials(MarginSession& session, const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions)
    : m_session(session), m_accounts(accounts), m_positions(positions), m_order(InOrderOfRegistration(accounts))
{}

ClientTrials::Trial ClientTrials::AsItIs(const std::string& client) const
{
    Trial trial;
    for (const AccountRow* const row : m_order)
        if (row->level == AccountLevelClient && row->code == client) trial.client = *row;
    for (const PositionRow& row : m_positions.rows)
        if (row.level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT && row.code == client) trial.positions.push_back(row);
    return trial;
}

void ClientTrials::AddOfPosition(const Trial& asItIs, std::size_t place, std::vector<Trial>& trials)
{
    const PositionRow& row = asItIs.positions[place];
    const std::string name = row.instrument + " (" + std::to_string(row.quantity) + " contracts)";
    const auto tryAs = [&](std::string text, const PositionRow& other) {
        Trial& trial = trials.emplace_back(asItIs);
        trial.text = std::move(text);
        trial.positions[place] = other;
    };
    PositionRow other = row;
    other.quantity = 0;
    tryAs("without the position in " + name, other);
    other.quantity = -row.quantity;
    other.afterLastClearing = -row.afterLastClearing;
    tryAs("with the position in " + name + " the other way round", other);
    other = row;
    other.quantity = row.afterLastClearing;
    if (other.quantity != row.quantity)
        tryAs("with " + std::to_string(other.quantity) + " contracts of " + row.instrument +
                  ", as the last clearing left it",
              other);
    other = row;
    other.price = 0.0;
    if (row.price != 0.0) tryAs("with the position in " + name + " at its calculated price", other);
}

void ClientTrials::AddOfParameters(const Trial& asItIs, std::vector<Trial>& trials)
{
    const auto tryAs = [&](std::string text, const AccountRow& other) {
        Trial& trial = trials.emplace_back(asItIs);
        trial.text = std::move(text);
        trial.client = other;
    };
    const AccountRow& row = asItIs.client;
    for (const auto& [word, value] : RiskLevelWords) {
        AccountRow other = row;
        other.riskLevel = value;
        if (value != row.riskLevel) tryAs("at the risk level " + std::string(word), other);
    }
    for (const auto& [word, value] : SpreadWords) {
        AccountRow other = row;
        other.calendar = static_cast<QuindalSpreadMarginType>(value);
        if (value != row.calendar) tryAs("with calendar spreads under " + std::string(word), other);
        other = row;
        other.interContract = static_cast<QuindalSpreadMarginType>(value);
        if (value != row.interContract) tryAs("with spreads across contracts under " + std::string(word), other);
    }
    AccountRow other = row;
    other.noDiscount = !row.noDiscount;
    tryAs(row.noDiscount ? "with discounts" : "without discounts", other);
    other = row;
    other.goRatio = 1.0;
    if (row.goRatio != 1.0) tryAs("without its GO ratio", other);
}

std::vector<ClientTrials::Trial> ClientTrials::TrialsOf(const Trial& asItIs)
{
    std::vector<Trial> trials;
    for (std::size_t i = 0; i < asItIs.positions.size(); ++i)
        AddOfPosition(asItIs, i, trials);
    Trial& atCalculatedPrices = trials.emplace_back(asItIs);
    atCalculatedPrices.text = "with every position at its calculated price";
    for (PositionRow& row : atCalculatedPrices.positions)
        row.price = 0.0;
    AddOfParameters(asItIs, trials);
    return trials;
}

std::optional<double> ClientTrials::MarginOf(const Trial& trial)
{
    try {
        m_session.RemoveAccounts();
        for (const AccountRow* const row : AccountsOf(m_order, {trial.client.code}))
            m_session.Register(m_accounts.Where(*row), row->level == AccountLevelClient ? trial.client : *row);
        for (const PositionRow& row : trial.positions)
            m_session.SetPosition(m_positions.Where(row), row);
        return m_session.FiguresOf(trial.client.code).GO;
    } catch (const CallError& error) {
        if (error.Status() == StatusLink) throw;
        return {}; // such a book cannot be, so it is no explanation
    }
}

std::vector<std::string> ClientTrials::Explain(const std::string& client, double clearing)
{
    const Trial asItIs = AsItIs(client);
    if (asItIs.positions.empty()) return {"the book has no positions of it"};
    std::vector<std::string> explanations;
    for (const Trial& trial : TrialsOf(asItIs)) {
        const std::optional<double> margin = MarginOf(trial);
        if (margin && AreEqual(*margin, clearing)) explanations.push_back(trial.text);
    }
    return explanations;
}

bool ClientTrials::Agrees(const std::string& client, double clearing)
{
    const std::optional<double> margin = MarginOf(AsItIs(client));
    return margin && AreEqual(*margin, clearing);
}

} // namespace quindal
