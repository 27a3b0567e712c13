// Positions: the bridge from one instrument's quantity and price to the risk node that it feeds.
//
// Always true:  a node holds exactly the risk of the position's present state. A change takes the old state's risk out,
//               recomputed from the old quantity and price on today's profile, and puts the new state's in.
#pragma once

#include <cstdint>
#include <string>

#include "Enums.h"

namespace kv7im {

class BaseProfile;
class CSpecFutures;
class RiskNodeFutures;
class RiskParticipant;

/// Level at which an instrument is netted.
enum RiskObjectLevel
{
    eRiskLevelFutures = 0, // alone: the futures is not in a spread
    eRiskLevelMCS = 1,     // in a spread, the base contract belongs to an MCS
    eRiskLevelMMS = 2,     // in a spread, no MCS
    eRiskLevelMaxSize = 3,
};

/// The level at which this futures is netted.
[[nodiscard]] RiskObjectLevel NettingLevelOf(const CSpecFutures& futures);

class CSpecPosition
{
public:
    CSpecPosition(RiskParticipant* participant, const CSpecFutures& futures, std::string code);
    virtual ~CSpecPosition() = default;
    CSpecPosition(const CSpecPosition&) = delete;
    CSpecPosition& operator=(const CSpecPosition&) = delete;

    /// The instrument's grid.
    [[nodiscard]] virtual const BaseProfile& GetProfile() const = 0;

    /// Stores the new state and moves the difference of its risk into the node. quantity is signed, short below 0;
    /// price is the weighted average price; novQuantity is the quantity that the net option value counts.
    void UpdateInitialMarginByNewPosition(std::int64_t quantity, double price, std::int64_t novQuantity);

    [[nodiscard]] std::int64_t GetQuantity() const noexcept { return m_quantity; }
    [[nodiscard]] double GetWAPrice() const noexcept { return m_WAPrice; }
    [[nodiscard]] Isin GetFutIsin() const noexcept { return m_futIsin; }
    [[nodiscard]] const std::string& GetCode() const noexcept { return m_code; }
    [[nodiscard]] RiskObjectLevel GetRiskLevel() const noexcept { return m_positionInstrumentRiskLevel; }

protected:
    /// Takes the old state's risk out of the node and puts the present state's in.
    virtual void CalculatePosRisk(std::int64_t oldQuantity, double oldPrice, double oldNOVi) = 0;
    /// Net option value of the position, money; 0 for anything that is not an option.
    [[nodiscard]] virtual double CalculateNOVi(std::int64_t quantity) const;

    RiskParticipant* m_participant; // not owned
    Isin m_futIsin;
    std::int64_t m_quantity = 0; // short below 0
    std::string m_code;
    double m_WAPrice = 0.0; // cost basis
    RiskObjectLevel m_positionInstrumentRiskLevel;
    double m_NOVi = 0.0;
};

class CSpecPositionFutures final : public CSpecPosition
{
public:
    CSpecPositionFutures(RiskParticipant* participant, const CSpecFutures& futures, RiskNodeFutures& futuresRisk);

    [[nodiscard]] const BaseProfile& GetProfile() const override;

    /// Price that values a position: a TAS price is an offset from CalcFutPrice; without discount the price is never
    /// better for the holder than RealCalcPrice.
    [[nodiscard]] double UsableWAPrice(std::int64_t quantity, double price) const;

protected:
    void CalculatePosRisk(std::int64_t oldQuantity, double oldPrice, double oldNOVi) override;

private:
    const CSpecFutures& m_futures;
    RiskNodeFutures& m_futuresRisk;
};

} // namespace kv7im
