// The results of one base contract, or of a futures or series standing alone, as its entity reads them: collapsed,
// corrected and bent by the curvature of its currency, one a price point and one a stress point. GroupMember gives them
// as they enter an MCS.
//
// Numbers:      money, a loss is negative; a row has the columns of the price grid.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "MarginExplanationCells.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"

namespace QuindalIM::explanation {

/// A contract of the tree: both sides of it. Everything outlives it.
struct Contract
{
    std::string code;
    const kv7im::CSpecFutures* futures = nullptr; // that the price axis is taken of
    const Node* volatility = nullptr;
    const Node* delivery = nullptr;

    [[nodiscard]] const Node& On(MarginSide side) const noexcept
    {
        return side == MarginSide::Volatility ? *volatility : *delivery;
    }
};

class Outline
{
public:
    /// pointsOf: the side whose stress points stand beside the row.
    Outline(const Contract& contract, Enums::ClientRiskLevel level, MarginSide side, MarginSide pointsOf);

    [[nodiscard]] const Contract& Of() const noexcept { return m_contract; }
    [[nodiscard]] const std::vector<double>& Row() const noexcept { return m_row; }
    [[nodiscard]] const std::array<double, kv7im::SpecialRiskPoints::MappingSize>& Points() const noexcept
    {
        return m_points;
    }

    /// Shares out the result at a price point and describes it in the outcome of the contract, except for its money.
    void ShareRow(std::size_t column, double factor, Trail& trail) const;
    /// Shares out the result at a stress point and describes it in the outcome of the contract, except for its money.
    void SharePoint(std::size_t point, double factor, Trail& trail) const;

    void Gate(Trail& trail) const { m_contract.volatility->Gate(trail); }

private:
    [[nodiscard]] bool IsDelivery(std::size_t column) const noexcept;
    /// Shares out the part of a result that the curvature adds; returns the factor of the result itself.
    [[nodiscard]] double ShareCurvature(double result, double factor, Trail& trail) const;
    void ShareCell(std::size_t column, double factor, Trail& trail) const;

    const Contract& m_contract;
    Enums::ClientRiskLevel m_level;
    MarginSide m_side;
    const Node& m_pointsNode;
    double m_radius;                 // of the curvature; 0 without one
    std::vector<double> m_collapsed; // before the curvature
    std::array<double, kv7im::SpecialRiskPoints::MappingSize> m_corrected;
    std::vector<double> m_row;
    std::array<double, kv7im::SpecialRiskPoints::MappingSize> m_points;
};

/// What a contract adds to its MCS: under a window the worst result nearby, with the stress points folded into the ends
/// and the tails; without one its losses only.
class GroupMember
{
public:
    GroupMember(const Contract& contract, Enums::ClientRiskLevel level, MarginSide side,
                std::optional<std::size_t> window);

    [[nodiscard]] std::size_t Size() const noexcept { return m_outline.Row().size(); }
    [[nodiscard]] double RowAt(std::size_t column) const { return ValueOf(SourceOfRow(column)); }
    [[nodiscard]] double PointAt(std::size_t point) const { return ValueOf(SourceOfPoint(point)); }
    /// Shares out the addition at a price point; begins and completes the outcome of the contract.
    void ShareRow(std::size_t column, double factor, Trail& trail) const { Share(SourceOfRow(column), factor, trail); }
    void SharePoint(std::size_t point, double factor, Trail& trail) const
    {
        Share(SourceOfPoint(point), factor, trail);
    }

private:
    /// The result of the contract that an addition is: at a price point, at a stress point, or none.
    struct Source
    {
        enum class Kind
        {
            Nothing,
            Row,
            Point,
        };
        Kind kind = Kind::Nothing;
        std::size_t index = 0;
        bool lossesOnly = false;
    };

    [[nodiscard]] Source SourceOfRow(std::size_t column) const;
    [[nodiscard]] Source SourceOfPoint(std::size_t point) const;
    [[nodiscard]] double ResultOf(const Source& source) const;
    [[nodiscard]] double ValueOf(const Source& source) const;
    void Share(const Source& source, double factor, Trail& trail) const;

    Outline m_outline;
    std::optional<std::size_t> m_window; // price points
};

} // namespace QuindalIM::explanation
