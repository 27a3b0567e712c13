// CCalcGO: what every calculator has, the three repositories that it works on. It owns none of them.
#pragma once

class ParticipantRepository;
namespace kv7im {
class InstrumentsRepository;
}
namespace pos {
class PositionCalculatorInstruments;
}

namespace QuindalIM {

class CCalcGO
{
public:
    CCalcGO(ParticipantRepository& participantRepository, kv7im::InstrumentsRepository& instrumentsRepository,
            pos::PositionCalculatorInstruments& posCalcInstruments) noexcept
        : participantRepository_(participantRepository),
          instrumentsRepository_(instrumentsRepository),
          posCalcInstruments_(posCalcInstruments)
    {}
    CCalcGO(const CCalcGO&) = delete;
    CCalcGO& operator=(const CCalcGO&) = delete;

    /// Nothing here is its own to clear; CCalcGOEx::ClearAll does the clearing.
    void ClearAll() const noexcept {}

protected:
    ~CCalcGO() = default;

    ParticipantRepository& participantRepository_;
    kv7im::InstrumentsRepository& instrumentsRepository_;
    pos::PositionCalculatorInstruments& posCalcInstruments_;
};

} // namespace QuindalIM
