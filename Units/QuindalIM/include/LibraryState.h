// LibraryState: what exists once in the process behind the exported functions. Two flags make the state of the library:
//
//   not initialised --InitQuindalIM--> initialised --CreateQuindalIMCalculator--> initialised, with a calculator
//
// DeInitQuindalIM leads back from either and leaves a calculator where it is; the next Create finds it again.
//
// Always true:  IsQuindalIMInitialized only between an InitQuindalIM that succeeded and DeInitQuindalIM.
//               the three repositories, once built, live until the process ends, whatever becomes of the calculator.
// Threads:      nothing here is guarded; the caller makes one call at a time.
#pragma once

#include <cstdint>

#include "CalcGOEx.h"
#include "Z9MQCore.h"

namespace QuindalIM {

extern bool IsQuindalIMInitialized;
/// The one calculator, whose address is the handle; null when there is none.
extern CCalcGOEx* g_pCalcGOEx;
/// The one link to the exchange; it exists from the loading of the library on.
extern Z9MQCore g_mq_core;

/// The participants behind the calculator, built at the first use.
[[nodiscard]] ParticipantRepository& GetParticipantRepositoryForQuindaIM();
/// The instruments behind the calculator, built at the first use.
[[nodiscard]] kv7im::InstrumentsRepository& GetInstrumentsRepositoryForQuindalIM();
/// The accounting's instrument dictionary behind the calculator, built at the first use.
[[nodiscard]] pos::PositionCalculatorInstruments& GetPositionCalculatorInstrumentsForQuindalIM();

/// The calculator of a handle. Throws CZ9Error: Z9ERR_QUINDAL_IM_NOT_INITIALIZED, then Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS
/// for a zero handle. Any other handle is believed.
[[nodiscard]] CCalcGOEx& GetQuindalImCalculator(std::intptr_t QuindalIMCalculator);

} // namespace QuindalIM
