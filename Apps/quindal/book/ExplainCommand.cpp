#include "ExplainCommand.h"

#include <iostream>

#include "BookOfClient.h"
#include "MarginPicture.h"
#include "WholeFile.h"

namespace quindal {

int RunExplain(const ExplainOptions& options)
{
    QuindalIM::MarginExplanation explanation;
    Provenance provenance;
    Reported(
        options,
        [&](BookRun& run) {
            Book whole = run.Read({});
            CheckClient(options.client, whole.accounts);
            run.With(BookOf(options.client, std::move(whole)),
                     [&](MarginSession& session) { explanation = session.Explain(options.client); });
            provenance = run.Origin();
        },
        [&] {
            const PictureInput picture{"client " + options.client, explanation, provenance};
            if (!options.svg.empty()) WriteWhole(options.svg, PictureAsSvg(picture));
            if (!options.pdf.empty()) WriteWhole(options.pdf, PictureAsPdf(picture));
            if (options.showsProvenance && options.format == ExplainFormat::Table)
                WriteProvenance(std::cout, provenance);
            WriteExplanation(std::cout, options.client, explanation, provenance, options.format);
        });
    return StatusGood;
}

} // namespace quindal
