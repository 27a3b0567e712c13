// Reconciliation: our margins against those that the clearing has computed, level by level, and what would explain the
// differences.
//
// An explanation is something that was tried: with it our margin is the clearing's to the cent. A difference seldom has
// that by accident, and where nothing tried has it, none is given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MarginSession.h"
#include "Rows.h"

namespace quindal {

/// How far two margins may be apart: money, or a share of the clearing's.
struct Tolerance
{
    double amount = 0.0;
    bool isShare = false; ///< 0.01 is a hundredth.

    [[nodiscard]] bool Covers(double difference, double clearing) const noexcept;
};

enum class Agreement
{
    Equal,
    Within, // of the tolerance
    Off,
};

/// The two margins of a client, a firm or an account, in cents.
struct ReconciledLevel
{
    std::int32_t level = QUINDAL_ACCOUNT_HIERARCHY_CLIENT;
    std::string code;
    std::optional<double> ours;     ///< None where the book does not have it.
    std::optional<double> clearing; ///< None where the clearing does not tell it.
    double difference = 0.0;        ///< The clearing's less ours.
    Agreement agreement = Agreement::Off;
    std::vector<std::string> explanations = {};
};

/// Compares what both have, what the clearing alone has, and what the book alone has of a level that the clearing tells
/// some margins of and has a margin. Those that are off come first, by the size of their difference; then those within,
/// likewise; then the equal ones in the order of the clearing.
[[nodiscard]] std::vector<ReconciledLevel> Reconciled(const Rows<MoneyRow>& clearing, const MarginFigures& figures,
                                                      const Tolerance& tolerance);

/// What can be seen in the two figures: a rounding to larger units, a factor.
[[nodiscard]] std::vector<std::string> ExplainedByNumbers(double ours, double clearing);
/// Names the clients of a firm or an account that are off themselves.
[[nodiscard]] std::vector<std::string> ExplainedByClients(const ReconciledLevel& level,
                                                          const std::vector<ReconciledLevel>& all,
                                                          const Rows<AccountRow>& accounts);

/// Books of single clients, with something changed in them.
class ClientTrials
{
public:
    /// The session has its instruments loaded; everything else in it is replaced by the first trial. Session and rows
    /// outlive the trials.
    ClientTrials(MarginSession& session, const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions);

    /// What of a client's own rows would have to be another for its margin to be the clearing's.
    [[nodiscard]] std::vector<std::string> Explain(const std::string& client, double clearing);
    /// Whether the margin of the rows as they are is the clearing's. False where they cannot be computed.
    [[nodiscard]] bool Agrees(const std::string& client, double clearing);

private:
    struct Trial
    {
        std::string text;
        AccountRow client;
        std::vector<PositionRow> positions;
    };
    [[nodiscard]] static std::vector<Trial> TrialsOf(const Trial& asItIs);
    static void AddOfPosition(const Trial& asItIs, std::size_t place, std::vector<Trial>& trials);
    static void AddOfParameters(const Trial& asItIs, std::vector<Trial>& trials);
    [[nodiscard]] Trial AsItIs(const std::string& client) const;
    [[nodiscard]] std::optional<double> MarginOf(const Trial& trial);

    MarginSession& m_session;
    const Rows<AccountRow>& m_accounts;
    const Rows<PositionRow>& m_positions;
    std::vector<const AccountRow*> m_order; // in the order of registration
};

} // namespace quindal
