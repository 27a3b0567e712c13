#include "ReliefCommand.h"

#include <iostream>
#include <utility>

#include "BookOfClient.h"
#include "ReliefReport.h"

namespace quindal {

int RunRelief(const ReliefOptions& options)
{
    ReliefAnswer answer;
    Provenance provenance;
    Reported(
        options,
        [&](BookRun& run) {
            Book whole = run.Read({});
            CheckClient(options.question.client, whole.accounts);
            const Book book = BookOf(options.question.client, std::move(whole));
            run.With(book, [&](MarginSession& session) {
                answer = ReliefBook(session, book.accounts, book.positions).Find(options.question);
            });
            provenance = run.Origin();
        },
        [&] {
            if (options.showsProvenance && options.format == ReportFormat::Table)
                WriteProvenance(std::cout, provenance);
            WriteRelief(std::cout, options.question, answer, provenance, options.format);
        });
    return StatusGood;
}

} // namespace quindal
