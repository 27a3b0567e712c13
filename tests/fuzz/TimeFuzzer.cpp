// Times out of any text: what is read is in the calendar and prints as a text that reads as the same time; what is
// refused leaves the target alone.
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "Require.h"
#include "Z9Time.h"

namespace {

bool AreEqual(const Z9TIME& a, const Z9TIME& b)
{
    return a.year == b.year && a.month == b.month && a.day == b.day && a.hour == b.hour && a.minute == b.minute &&
           a.second == b.second && a.msec == b.msec;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string given(reinterpret_cast<const char*>(data), size);
    const Z9TIME before{2026, 11, 21, 10, 15, 30, 0, 123};
    Z9TIME time = before;
    if (Z9TimeGetFromStr(&time, given.c_str()) != 0) {
        Require(AreEqual(time, before), "a refused text leaves the time alone");
        return 0;
    }
    Require(Z9TimeCheck(&time) == 0, "a time that was read is in the calendar");

    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04u/%02u/%02u/%02u/%02u/%02u/%03u", unsigned{time.year},
                  unsigned{time.month}, unsigned{time.day}, unsigned{time.hour}, unsigned{time.minute},
                  unsigned{time.second}, unsigned{time.msec});
    Z9TIME again = before;
    Require(Z9TimeGetFromStr(&again, text.data()) == 0 && AreEqual(again, time), "its text reads as the same time");
    return 0;
}
