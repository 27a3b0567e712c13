// Requests of the desk's page with any body. The first line of an input names the request, the others are its body.
// Each is answered with a known status, in JSON that can be read unless a report was asked for; what is refused leaves
// the book as it was; nothing is a failure of ours.
#include <algorithm>
#include <cstdint>
#include <set>
#include <string>

#include <nlohmann/json.hpp>

#include "DeskApi.h"
#include "PlainDeskBook.h"
#include "Require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace quindal;
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(input.find('\n'), input.size());
    const std::string name = input.substr(0, end);
    quindal::test::PlainDeskBook book;
    DeskApi api(book);
    const DeskAnswer answer = api.Answer(name, std::string_view(input).substr(std::min(end + 1, input.size())));
    static const std::set<int> known{DeskGood, DeskMalformed, DeskUnknown, DeskRefused};
    Require(known.contains(answer.status), "a request is answered, refused or malformed");
    if (answer.type == "application/json")
        Require(nlohmann::json::accept(answer.body), "an answer is JSON");
    else
        Require(answer.status == DeskGood && name == "download", "only a download is something else");
    const bool isReplaced = answer.status == DeskGood && name == "positions";
    Require(isReplaced || book.Positions().rows.size() == 2, "positions change by a good file only");
    return 0;
}
