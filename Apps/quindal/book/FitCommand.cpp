#include "FitCommand.h"

#include <iostream>
#include <utility>

#include "BookCheck.h"
#include "BookOfClient.h"
#include "DerivedLevels.h"
#include "FitReport.h"
#include "InputFile.h"

namespace quindal {

namespace {

Rows<BasketRow> Basket(const FitOptions& options)
{
    if (options.basket.empty())
        return {"--instrument",
                {{0, options.item.instrument, options.item.isBuy, options.item.ratio, options.item.price}}};
    Problems problems;
    Rows<BasketRow> basket = ReadBasket(ReadInput(options.basket), problems);
    problems.ThrowIfAny();
    return basket;
}

std::vector<FitItem> ItemsOf(const Rows<BasketRow>& basket)
{
    std::vector<FitItem> items;
    for (const BasketRow& row : basket.rows)
        items.push_back({row.instrument, row.isBuy, row.ratio, row.price});
    return items;
}

/// The instruments are those that the session has loaded. One of the command line is named by its option.
void CheckNames(const Rows<BasketRow>& basket, bool isHeld, bool isOfFile)
{
    Problems problems;
    CheckInstruments(MarginSession::Codes(), basket, isHeld, problems);
    if (isOfFile) problems.ThrowIfAny();
    for (const Problem& problem : problems.Told())
        throw InputError("--" + problem.column + (problem.value ? ": \"" + *problem.value + '"' : "") + ' ' +
                         problem.reason);
}

FitAnswer Ask(const FitOptions& options, const FitQuestion& question, const Rows<BasketRow>& basket, const Book& book,
              MarginSession& session)
{
    CheckNames(basket, question.as == FitAs::Position, !options.basket.empty());
    Rows<PositionRow> positions = book.positions;
    if (options.deriveLevels && question.level != FitLevel::Client) {
        const DerivedRecords derived =
            Derive(LevelsWithoutRecords(book.accounts, book.positions), &MarginSession::CalculatedPrice);
        positions.rows.insert(positions.rows.end(), derived.rows.begin(), derived.rows.end());
    }
    return FitBook(session, book.accounts, positions).Largest(question);
}

} // namespace

int RunFit(const FitOptions& options)
{
    FitQuestion question = options.question;
    FitAnswer answer;
    Provenance provenance;
    Reported(
        options,
        [&](BookRun& run) {
            const Rows<BasketRow> basket = Basket(options);
            question.items = ItemsOf(basket);
            Book whole = run.Read({});
            CheckClient(question.client, whole.accounts);
            const bool isOfClient = question.level == FitLevel::Client;
            if (!isOfClient) run.CompleteLevels();
            const Book book = isOfClient ? BookOf(question.client, std::move(whole)) : std::move(whole);
            run.With(book, [&](MarginSession& session) { answer = Ask(options, question, basket, book, session); });
            provenance = run.Origin();
        },
        [&] {
            if (options.showsProvenance && options.format == ReportFormat::Table)
                WriteProvenance(std::cout, provenance);
            WriteFit(std::cout, question, answer, provenance, options.format);
        });
    return StatusGood;
}

} // namespace quindal
