// The results of one base contract, or of a futures or series standing alone, as the engine reads its margin from them:
// one a price point and one a stress point, collapsed, corrected and bent by the curvature of its currency. And what an
// MCS takes of them.
//
// Numbers:      money, a loss is negative; a row has the columns of the price grid.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "MarginExplanationNodes.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"

namespace QuindalIM::explanation {

/// A contract of the tree. Everything outlives it.
struct Contract
{
    std::string code;
    const kv7im::CSpecFutures* futures = nullptr;  // that the price axis is taken of
    const Node* node = nullptr;                    // that a cell is shared out by
    const kv7im::RiskNodeBase* engine = nullptr;   // the engine's node of the same cells
    const kv7im::LastAdditionToMCS* mcs = nullptr; // what its MCS has taken of it; null without one
};

class Outline
{
public:
    Outline(const Contract& contract, MarginSide side);

    [[nodiscard]] const kv7im::RiskRow& Row() const noexcept { return RowOf(m_final); }
    [[nodiscard]] const kv7im::SpecialRiskPoints& Points() const noexcept
    {
        return m_side == MarginSide::Volatility ? m_final.VolatilityPoints() : m_final.ExpirationPoints();
    }

    /// Share a result out and describe it in the outcome of the contract, but for the money.
    void ShareRow(std::size_t column, double factor, Trail& trail) const;
    void SharePoint(std::size_t point, double factor, Trail& trail) const;

    /// What the MCS has taken at a price point or a stress point, shared out; begins and completes the outcome.
    void ShareRowOfMCS(std::size_t column, double factor, Trail& trail) const;
    void SharePointOfMCS(std::size_t point, double factor, Trail& trail) const;

private:
    /// The result that an MCS has taken: at a price point, at a stress point, or none.
    struct Source
    {
        std::optional<std::size_t> column;
        std::optional<std::size_t> point;
        bool lossesOnly = false;
    };
    [[nodiscard]] Source SourceOfRow(std::size_t column, double taken) const;
    [[nodiscard]] Source SourceOfPoint(std::size_t point) const;
    void ShareSource(const Source& source, double taken, double factor, Trail& trail) const;

    [[nodiscard]] const kv7im::RiskRow& RowOf(const kv7im::RolledUpRiskNode& node) const noexcept
    {
        return m_side == MarginSide::Volatility ? node.Volatility() : node.Expiration();
    }
    /// Shares out what the curvature adds to a result; the factor of the result itself comes back.
    [[nodiscard]] double ShareCurvature(double result, double factor, Trail& trail) const;
    void ShareCell(std::size_t column, double factor, Trail& trail) const;

    const Contract& m_contract;
    MarginSide m_side;
    kv7im::RolledUpRiskNode m_collapsed; // before correction and curvature
    kv7im::RolledUpRiskNode m_final;
};

} // namespace QuindalIM::explanation
