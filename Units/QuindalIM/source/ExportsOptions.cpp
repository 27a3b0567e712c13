// Exported functions: option series and options, in and out.
#include "QuindalIM.h"

#include <array>
#include <tuple>

#include "BoundaryValues.h"
#include "CodeBuffers.h"
#include "CursorFrame.h"
#include "EntryValues.h"
#include "Enums.h"
#include "ExportFrame.h"
#include "LibraryState.h"
#include "instruments/OptionSeriesParameters.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

using namespace QuindalIM;

// NOLINTNEXTLINE(readability-function-size): the C header hands an entry over value by value
int32_t InsertOptionSeries(intptr_t QuindalIMCalculator, const char* OptionSeriesCode, const char* FuturesCode,
                           double A_Black, double B_Black, double C_Black, double D_Black, double E_Black,
                           int8_t UseNullVolat, double S_Black, double StrikeStep, int32_t ExpClearingsSA,
                           int32_t ExpClearingsBF, int32_t ExpClearingsCC, double VolatilityRisk,
                           double VolatilityRiskMismatch, double TimeToExpiration, double A_Bach, double B_Bach,
                           double C_Bach, double D_Bach, double E_Bach, double S_Bach, double M_Bach,
                           QuindalMarginStyle MarginStyle, QuindalSettlementType SettlementType,
                           QuindalExerciseStyle ExerciseStyle, int8_t SubRisk, QuindalSpreadAspect SpreadAspect,
                           int8_t EnforceHalfNetting, double MinStep, double MinStepPrice, int32_t LotCoeff, double r,
                           double InterestRateRiskUp, double InterestRateRiskDown, double FixedSpotDiscount,
                           double ProjectedSpotDiscount, double r2, double InterestRate2RiskUp,
                           double InterestRate2RiskDown)
{
    using Series = kv7im::OptionSeriesParameters;
    static_assert(Enums::OptionModels.size() == 2, "each pricing model has its smile among the arguments");
    const std::tuple values{InputOf{"A_Black", A_Black, &Series::A},
                            InputOf{"B_Black", B_Black, &Series::B},
                            InputOf{"C_Black", C_Black, &Series::C},
                            InputOf{"D_Black", D_Black, &Series::D},
                            InputOf{"E_Black", E_Black, &Series::E},
                            InputOf{"UseNullVolat", UseNullVolat, &Series::UseNullVolat},
                            InputOf{"S_Black", S_Black, &Series::S},
                            InputOf{"StrikeStep", StrikeStep, &Series::StrikeStep},
                            InputOf{"ExpClearingsSA", ExpClearingsSA, &Series::ExpClearingsSA},
                            InputOf{"ExpClearingsBF", ExpClearingsBF, &Series::ExpClearingsBF},
                            InputOf{"ExpClearingsCC", ExpClearingsCC, &Series::ExpClearingsCC},
                            InputOf{"VolatilityRisk", VolatilityRisk, &Series::VolatilityRisk},
                            InputOf{"VolatilityRiskMismatch", VolatilityRiskMismatch, &Series::VolatilityRiskMismatch},
                            InputOf{"TimeToExpiration", TimeToExpiration, &Series::TimeToExpiration},
                            InputOf{"A_Bach", A_Bach, &Series::A_Bach},
                            InputOf{"B_Bach", B_Bach, &Series::B_Bach},
                            InputOf{"C_Bach", C_Bach, &Series::C_Bach},
                            InputOf{"D_Bach", D_Bach, &Series::D_Bach},
                            InputOf{"E_Bach", E_Bach, &Series::E_Bach},
                            InputOf{"S_Bach", S_Bach, &Series::S_Bach},
                            InputOf{"M_Bach", M_Bach, &Series::M_Bach},
                            InputOf{"MarginStyle", MarginStyle, &Series::marginStyle},
                            InputOf{"SettlementType", SettlementType, &Series::settlementType},
                            InputOf{"ExerciseStyle", ExerciseStyle, &Series::exerciseStyle},
                            InputOf{"SubRisk", SubRisk, &Series::SubRisk},
                            InputOf{"SpreadAspect", SpreadAspect, &Series::SpreadAspect},
                            InputOf{"EnforceHalfNetting", EnforceHalfNetting, &Series::EnforceHalfNetting},
                            InputOf{"MinStep", MinStep, &Series::MinStep},
                            InputOf{"MinStepPrice", MinStepPrice, &Series::MinStepPrice},
                            InputOf{"LotCoeff", LotCoeff, &Series::LotCoeff},
                            InputOf{"r", r, &Series::R},
                            InputOf{"InterestRateRiskUp", InterestRateRiskUp, &Series::InterestRateRiskUp},
                            InputOf{"InterestRateRiskDown", InterestRateRiskDown, &Series::InterestRateRiskDown},
                            InputOf{"FixedSpotDiscount", FixedSpotDiscount, &Series::FixedSpotDiscount},
                            InputOf{"ProjectedSpotDiscount", ProjectedSpotDiscount, &Series::ProjectedSpotDiscount},
                            InputOf{"r2", r2, &Series::R2},
                            InputOf{"InterestRate2RiskUp", InterestRate2RiskUp, &Series::InterestRate2RiskUp},
                            InputOf{"InterestRate2RiskDown", InterestRate2RiskDown, &Series::InterestRate2RiskDown}};
    return Export(
        "InsertOptionSeries",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("OptionSeriesCode", OptionSeriesCode)
                .Add("FuturesCode", FuturesCode);
            AddAll(params, values);
        },
        {{"OptionSeriesCode", OptionSeriesCode}, {"FuturesCode", FuturesCode}},
        [&](ExportCall& call) {
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            Series series;
            series.Code = OptionSeriesCode;
            series.CodeRF = FuturesCode;
            AssignAll(series, values);
            return call.SetError(calculator.InsertOptionSeries(series));
        });
}

int32_t InsertOption(intptr_t QuindalIMCalculator, const char* OptionCode, const char* OptionSeriesCode, double Strike,
                     QuindalOptionType OptionType, double CalcOptPrice)
{
    return Export(
        "InsertOption",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("OptionCode", OptionCode)
                .Add("OptionSeriesCode", OptionSeriesCode)
                .Add("Strike", Strike)
                .Add("OptionType", OptionType)
                .Add("CalcOptPrice", CalcOptPrice);
        },
        {{"OptionCode", OptionCode}, {"OptionSeriesCode", OptionSeriesCode}},
        [&](ExportCall& call) {
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            return call.SetError(calculator.InsertOption(OptionCode, OptionSeriesCode, Strike,
                                                         static_cast<Enums::OptionType>(OptionType), CalcOptPrice));
        });
}

int32_t SetOnFirstOptionSeries(intptr_t QuindalIMCalculator, int32_t* count)
{
    return SetOnFirst("SetOnFirstOptionSeries", QuindalIMCalculator, count, &CCalcGOEx::SetOnFirstOptionSeries);
}

int32_t SetOnFirstOption(intptr_t QuindalIMCalculator, int32_t* count)
{
    return SetOnFirst("SetOnFirstOption", QuindalIMCalculator, count, &CCalcGOEx::SetOnFirstOption);
}

// NOLINTNEXTLINE(readability-function-size): the C header hands an entry over value by value
int32_t GetNextOptionSeries(intptr_t QuindalIMCalculator, char* OptionSeriesCode, int32_t* OptionSeriesCodeSize,
                            char* FuturesCode, int32_t* FuturesCodeSize, double* SqrtT, double* A_Black,
                            double* B_Black, double* C_Black, double* D_Black, double* E_Black, int8_t* UseNullVolat,
                            double* S_Black, double* StrikeStep, int32_t* ExpClearingsSA, int32_t* ExpClearingsBF,
                            int32_t* ExpClearingsCC, double* VolatilityRisk, double* VolatilityRiskMismatch,
                            double* TimeToExpiration, double* A_Bach, double* B_Bach, double* C_Bach, double* D_Bach,
                            double* E_Bach, double* S_Bach, double* M_Bach, QuindalMarginStyle* MarginStyle,
                            QuindalSettlementType* SettlementType, QuindalExerciseStyle* ExerciseStyle, int8_t* SubRisk,
                            QuindalSpreadAspect* SpreadAspect, int8_t* EnforceHalfNetting, double* MinStep,
                            double* MinStepPrice, int32_t* LotCoeff, double* r, double* InterestRateRiskUp,
                            double* InterestRateRiskDown, double* FixedSpotDiscount, double* ProjectedSpotDiscount,
                            double* r2, double* InterestRate2RiskUp, double* InterestRate2RiskDown)
{
    using Series = kv7im::CSpecVirtFutures;
    const std::tuple values{OutputOf{"SqrtT", SqrtT, &Series::SqrtT},
                            OutputOf{"A_Black", A_Black, &Series::A},
                            OutputOf{"B_Black", B_Black, &Series::B},
                            OutputOf{"C_Black", C_Black, &Series::C},
                            OutputOf{"D_Black", D_Black, &Series::D},
                            OutputOf{"E_Black", E_Black, &Series::E},
                            OutputOf{"UseNullVolat", UseNullVolat, &Series::UseNullVolat},
                            OutputOf{"S_Black", S_Black, &Series::S},
                            OutputOf{"StrikeStep", StrikeStep, &Series::StrikeStep},
                            OutputOf{"ExpClearingsSA", ExpClearingsSA, &Series::ExpClearingsSA},
                            OutputOf{"ExpClearingsBF", ExpClearingsBF, &Series::ExpClearingsBF},
                            OutputOf{"ExpClearingsCC", ExpClearingsCC, &Series::ExpClearingsCC},
                            OutputOf{"VolatilityRisk", VolatilityRisk, &Series::VolatilityRisk},
                            OutputOf{"VolatilityRiskMismatch", VolatilityRiskMismatch, &Series::VolatilityRiskMismatch},
                            OutputOf{"TimeToExpiration", TimeToExpiration, &Series::TimeToExpiration},
                            OutputOf{"A_Bach", A_Bach, &Series::A_Bach},
                            OutputOf{"B_Bach", B_Bach, &Series::B_Bach},
                            OutputOf{"C_Bach", C_Bach, &Series::C_Bach},
                            OutputOf{"D_Bach", D_Bach, &Series::D_Bach},
                            OutputOf{"E_Bach", E_Bach, &Series::E_Bach},
                            OutputOf{"S_Bach", S_Bach, &Series::S_Bach},
                            OutputOf{"M_Bach", M_Bach, &Series::M_Bach},
                            OutputOf{"MarginStyle", MarginStyle, &Series::marginStyle},
                            OutputOf{"SettlementType", SettlementType, &Series::settlementType},
                            OutputOf{"ExerciseStyle", ExerciseStyle, &Series::exerciseStyle},
                            OutputOf{"SubRisk", SubRisk, &Series::SubRisk},
                            OutputOf{"SpreadAspect", SpreadAspect, SpreadAspectOf<Series>},
                            OutputOf{"EnforceHalfNetting", EnforceHalfNetting, &Series::EnforceHalfNetting},
                            OutputOf{"MinStep", MinStep, &Series::MinStep},
                            OutputOf{"MinStepPrice", MinStepPrice, &Series::MinStepPrice},
                            OutputOf{"LotCoeff", LotCoeff, &Series::LotCoeff},
                            OutputOf{"r", r, &Series::R},
                            OutputOf{"InterestRateRiskUp", InterestRateRiskUp, &Series::InterestRateRiskUp},
                            OutputOf{"InterestRateRiskDown", InterestRateRiskDown, &Series::InterestRateRiskDown},
                            OutputOf{"FixedSpotDiscount", FixedSpotDiscount, &Series::FixedSpotDiscount},
                            OutputOf{"ProjectedSpotDiscount", ProjectedSpotDiscount, &Series::ProjectedSpotDiscount},
                            OutputOf{"r2", r2, &Series::R2},
                            OutputOf{"InterestRate2RiskUp", InterestRate2RiskUp, &Series::InterestRate2RiskUp},
                            OutputOf{"InterestRate2RiskDown", InterestRate2RiskDown, &Series::InterestRate2RiskDown}};
    return Export(
        "GetNextOptionSeries", [&](ParamsBuilder params) { params.Add("QuindalIMCalculator", QuindalIMCalculator); },
        PointersOf(std::array{PointerArgument{"OptionSeriesCode", OptionSeriesCode},
                              PointerArgument{"FuturesCode", FuturesCode},
                              PointerArgument{"OptionSeriesCodeSize", OptionSeriesCodeSize},
                              PointerArgument{"FuturesCodeSize", FuturesCodeSize}},
                   values),
        [&](ExportCall& call) -> Z9ERR {
            const Series* series = nullptr;
            const Z9ERR result = GetQuindalImCalculator(QuindalIMCalculator).GetNextOptionSeries(series);
            if (result == Z9ERR_QUINDAL_IM_END_OF_DATA) return EndOfData(call);
            if (result != Z9ERR_OK) return call.SetError(result);
            if (!CopyCodes(std::array{CodeBuffer{OptionSeriesCode, OptionSeriesCodeSize, series->Code},
                                      CodeBuffer{FuturesCode, FuturesCodeSize, series->CodeRF}}))
                return call.SetError(Z9ERR_COMMON_BUFFER_TOO_SMALL);
            Outputs(call)
                .Given("OptionSeriesCode", OptionSeriesCode, "OptionSeriesCodeSize", *OptionSeriesCodeSize)
                .Given("FuturesCode", FuturesCode, "FuturesCodeSize", *FuturesCodeSize)
                .GiveAll(*series, values);
            return call.SetError(Z9ERR_OK);
        });
}

int32_t GetNextOption(intptr_t QuindalIMCalculator, char* OptionCode, int32_t* OptionCodeSize, char* OptionSeriesCode,
                      int32_t* OptionSeriesCodeSize, double* Strike, QuindalOptionType* OptionType,
                      double* CalcOptPrice)
{
    return Export(
        "GetNextOption", [&](ParamsBuilder params) { params.Add("QuindalIMCalculator", QuindalIMCalculator); },
        {{"OptionCode", OptionCode},
         {"OptionSeriesCode", OptionSeriesCode},
         {"OptionCodeSize", OptionCodeSize},
         {"OptionSeriesCodeSize", OptionSeriesCodeSize},
         {"Strike", Strike},
         {"OptionType", OptionType},
         {"CalcOptPrice", CalcOptPrice}},
        [&](ExportCall& call) -> Z9ERR {
            const kv7im::CSpecOption* option = nullptr;
            const Z9ERR result = GetQuindalImCalculator(QuindalIMCalculator).GetNextOption(option);
            if (result == Z9ERR_QUINDAL_IM_END_OF_DATA) return EndOfData(call);
            if (result != Z9ERR_OK) return call.SetError(result);
            if (!CopyCodes(std::array{CodeBuffer{OptionCode, OptionCodeSize, option->Code},
                                      CodeBuffer{OptionSeriesCode, OptionSeriesCodeSize, option->CodeVF}}))
                return call.SetError(Z9ERR_COMMON_BUFFER_TOO_SMALL);
            Outputs(call)
                .Given("OptionCode", OptionCode, "OptionCodeSize", *OptionCodeSize)
                .Given("OptionSeriesCode", OptionSeriesCode, "OptionSeriesCodeSize", *OptionSeriesCodeSize)
                .Give("Strike", Strike, option->Strike)
                .Give("OptionType", OptionType, option->isPut() ? Enums::OptionType::Put : Enums::OptionType::Call)
                .Give("CalcOptPrice", CalcOptPrice, option->CalcOptPrice);
            return call.SetError(Z9ERR_OK);
        });
}
