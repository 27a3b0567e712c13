// Exported functions: multilegs, in and out.
#include "QuindalIM.h"

#include <array>
#include <string>

#include "CodeBuffers.h"
#include "CursorFrame.h"
#include "ExportFrame.h"
#include "LibraryState.h"

using namespace QuindalIM;

int32_t InsertMultileg(intptr_t QuindalIMCalculator, const char* MultilegCode)
{
    return Export(
        "InsertMultileg",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator).Add("MultilegCode", MultilegCode);
        },
        {{"Code", MultilegCode}}, // the name by which the log knows it
        [&](ExportCall& call) {
            return call.SetError(GetQuindalImCalculator(QuindalIMCalculator).InsertMultileg(MultilegCode));
        });
}

int32_t SetOnFirstMultileg(intptr_t QuindalIMCalculator, int32_t* count)
{
    return SetOnFirst("SetOnFirstMultileg", QuindalIMCalculator, count, &CCalcGOEx::SetOnFirstMultileg);
}

int32_t GetNextMultileg(intptr_t QuindalIMCalculator, char* MultilegCode, int32_t* MultilegCodeSize)
{
    return Export(
        "GetNextMultileg", [&](ParamsBuilder params) { params.Add("QuindalIMCalculator", QuindalIMCalculator); },
        {{"MultilegCode", MultilegCode}, {"MultilegCodeSize", MultilegCodeSize}},
        [&](ExportCall& call) -> Z9ERR {
            std::string code;
            if (GetQuindalImCalculator(QuindalIMCalculator).GetNextMultileg(code) != Z9ERR_OK) return EndOfData(call);
            if (!CopyCodes(std::array{CodeBuffer{MultilegCode, MultilegCodeSize, code}}))
                return call.SetError(Z9ERR_COMMON_BUFFER_TOO_SMALL);
            Outputs(call).Given("MultilegCode", MultilegCode, "MultilegCodeSize", *MultilegCodeSize);
            return call.SetError(Z9ERR_OK);
        });
}
