// The formatter under any format: it writes inside the buffer and ends it with a zero, its count is that of what stands
// there, a cut text is the beginning of the whole one, and no verb writes through an argument.
#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "Require.h"
#include "Z9Fmt.h"

namespace {

// A directive takes three arguments at most, a long double as wide as two with a gap in front: five places of the list.
constexpr std::size_t argumentCount = 64;
constexpr std::size_t maxDirectives = argumentCount / 5;

// What every pointer among the arguments points at. The fuzzer chooses the verb, so one argument serves all of them: on
// this machine a place of the list is 8 bytes, a pointer for those who ask for one, a number for the others.
constexpr std::array<unsigned char, 16> packedDecimal{2, 5, 0x39, 0x30};         // 123.45, and a short text
constexpr std::array<unsigned char, 16> wideText{'o', 0, 0, 0, 'k', 0, 0, 0, 0}; // two wide characters, and a text

template <std::size_t... Place>
int Print(char* buffer, std::size_t size, const char* format, const unsigned char* argument,
          std::index_sequence<Place...>)
{
    return Z9SysSNPrintf(buffer, size, format, 0.5, -1e300, 1e-300, 0.0, 7.25, -0.0, 1e15, 3.5,
                         (static_cast<void>(Place), argument)...);
}

int Print(std::vector<char>& buffer, const std::string& format, const unsigned char* argument)
{
    const int count =
        Print(buffer.data(), buffer.size(), format.c_str(), argument, std::make_index_sequence<argumentCount>());
    Require(count < static_cast<int>(buffer.size()), "the count leaves room for the zero");
    if (count >= 0) Require(buffer[static_cast<std::size_t>(count)] == '\0', "the text ends in a zero");
    return count;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size); // takes numbers from the end
    auto target = input.ConsumeBool() ? packedDecimal : wideText;
    const auto shortSize = input.ConsumeIntegralInRange<std::size_t>(1, 200);
    const std::string format = input.ConsumeRemainingBytesAsString();
    const auto directives = static_cast<std::size_t>(std::count(format.begin(), format.end(), '%'));
    if (directives > maxDirectives) return 0; // they would read past the arguments

    alignas(8) const auto before = target;
    static std::vector<char> whole(1 << 20); // no format of this many directives fills it
    const int wholeCount = Print(whole, format, target.data());
    std::vector<char> cut(shortSize);
    const int cutCount = Print(cut, format, target.data());
    Require(target == before, "no verb writes through an argument");
    if (wholeCount < 0) return 0; // the C library refused an argument
    Require(cutCount == std::min(wholeCount, static_cast<int>(shortSize) - 1), "a text is cut by the buffer alone");
    Require(std::memcmp(cut.data(), whole.data(), static_cast<std::size_t>(cutCount)) == 0,
            "a cut text is the beginning of the whole one");
    return 0;
}
