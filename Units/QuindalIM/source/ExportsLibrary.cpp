// Exported functions: version, texts, start and stop of the library, the calculator.
#include "QuindalIM.h"

#include "CalcGOConsts.h"
#include "ExportFrame.h"
#include "LibraryStart.h"
#include "LibraryState.h"
#include "QLTracer.h"
#include "z9log.h"

using namespace QuindalIM;

const char* GetQuindalIMLibraryVersion(void) { return LibraryVersion; }

const char* GetErrorCodeDescription(int32_t errorCode) { return Kv7ErrGetDescrStr(static_cast<Z9ERR>(errorCode)); }

int32_t InitQuindalIM(const char* IniFile, const char* username, const char* password)
{
    return Export(
        "InitQuindalIM",
        [&](ParamsBuilder params) { params.Add("IniFile", IniFile).Add("username", username); }, // never the password
        {},
        [&](ExportCall& call) -> Z9ERR {
            if (IsQuindalIMInitialized) {
                KV7TRACE_ERROR_WITH_CODE_EX(Z9ERR_QUINDAL_IM_ALREADY_INITIALIZED, LogCategory,
                                            "QuindalIM library is already initialized");
                return call.SetError(Z9ERR_QUINDAL_IM_ALREADY_INITIALIZED);
            }
            // The logs come first, so that they can tell what is wrong with the other arguments.
            QuindalImConfig config;
            InitConfigAndLog(IniFile, config);
            if (call.RefusesNull({{"username", username}, {"password", password}}))
                return Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS;

            const Z9ERR result = InitMqCore(config, username, password);
            if (result == Z9ERR_OK) IsQuindalIMInitialized = true;
            return call.SetError(result);
        },
        Recording::Always); // the trace log is opened here, and the line of this call is its first
}

int32_t DeInitQuindalIM(void)
{
    return Export(
        "DeInitQuindalIM", [](ParamsBuilder) {}, {},
        [](ExportCall& call) -> Z9ERR {
            if (!IsQuindalIMInitialized) return call.SetError(Z9ERR_QUINDAL_IM_NOT_INITIALIZED);

            KV7TRACE_INFO_EX(LogCategory, "%s", call.Name());
            g_mq_core.Cleanup();
            if (kv7base::CZ9Log& log = kv7base::GetCustomLog(); log.IsOpen()) log.Close();
            kv7base::QLTracer::DeInit();
            IsQuindalIMInitialized = false;
            return Z9ERR_OK; // not recorded: the trace log is closed, this call has no line
        });
}

int32_t CreateQuindalIMCalculator(intptr_t* QuindalIMCalculator)
{
    return Export(
        "CreateQuindalIMCalculator", [](ParamsBuilder) {}, {{"QuindalIMCalculator", QuindalIMCalculator}},
        [&](ExportCall& call) -> Z9ERR {
            if (!IsQuindalIMInitialized) return call.SetError(Z9ERR_QUINDAL_IM_NOT_INITIALIZED);

            Z9ERR result = Z9ERR_OK;
            if (g_pCalcGOEx == nullptr) {
                // Built in this order, so that at the end of the process participants go before the instruments that
                // their positions point at.
                pos::PositionCalculatorInstruments& accounting = GetPositionCalculatorInstrumentsForQuindalIM();
                kv7im::InstrumentsRepository& instruments = GetInstrumentsRepositoryForQuindalIM();
                ParticipantRepository& participants = GetParticipantRepositoryForQuindaIM();
                result = CCalcGOEx::Create(g_pCalcGOEx, participants, instruments, accounting);
            }
            *QuindalIMCalculator = result == Z9ERR_OK ? reinterpret_cast<intptr_t>(g_pCalcGOEx) : 0;
            call.SetError(result);
            if (result == Z9ERR_OK) call.Params().Add("QuindalIMCalculator", *QuindalIMCalculator);
            return result;
        });
}

int32_t DestroyQuindalIMCalculator(intptr_t QuindalIMCalculator)
{
    return Export(
        "DestroyQuindalIMCalculator",
        [&](ParamsBuilder params) { params.Add("QuindalIMCalculator", QuindalIMCalculator); }, {},
        [&](ExportCall& call) -> Z9ERR {
            if (!IsQuindalIMInitialized) return call.SetError(Z9ERR_QUINDAL_IM_NOT_INITIALIZED);
            const auto* calculator = reinterpret_cast<const CCalcGOEx*>(QuindalIMCalculator);
            if (call.RefusesNull({{"QuindalIMCalculator", calculator}})) return Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS;
            if (calculator != g_pCalcGOEx) {
                KV7TRACE_ERROR_EX(LogCategory, "%s: QuindalIMCalculator is not equal to saved g_pCalcGOEx",
                                  call.Name());
                return call.SetError(Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS);
            }
            CCalcGOEx::Destroy(g_pCalcGOEx);
            g_pCalcGOEx = nullptr;
            return call.SetError(Z9ERR_OK);
        });
}
