#include "LibraryState.h"

#include "ParticipantRepository.h"
#include "PositionCalculatorInstruments.h"
#include "except.h"
#include "instruments/InstrumentsRepository.h"

namespace QuindalIM {

bool IsQuindalIMInitialized = false;
CCalcGOEx* g_pCalcGOEx = nullptr;
Z9MQCore g_mq_core;

ParticipantRepository& GetParticipantRepositoryForQuindaIM()
{
    static ParticipantRepository repository;
    return repository;
}

kv7im::InstrumentsRepository& GetInstrumentsRepositoryForQuindalIM()
{
    static kv7im::InstrumentsRepository repository;
    return repository;
}

pos::PositionCalculatorInstruments& GetPositionCalculatorInstrumentsForQuindalIM()
{
    static pos::PositionCalculatorInstruments instruments;
    return instruments;
}

CCalcGOEx& GetQuindalImCalculator(std::intptr_t QuindalIMCalculator)
{
    using kv7base::CZ9Error;
    if (!IsQuindalIMInitialized) throw CZ9Error(Z9ERR_QUINDAL_IM_NOT_INITIALIZED, KV7_CURRENT_LOCATION);
    if (QuindalIMCalculator == 0)
        throw CZ9Error(Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS, KV7_CURRENT_LOCATION)
            .Fmt("QuindalIMCalculator can't be a null");
    return *reinterpret_cast<CCalcGOEx*>(QuindalIMCalculator);
}

} // namespace QuindalIM
