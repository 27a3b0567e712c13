// CallArguments: what one exported function is called with. Each argument has a usual value, of which there is a valid
// call; one argument, or all of them, or none, is replaced by something odd, as the fuzzer's bytes say.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <deque>
#include <limits>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

class CallArguments
{
public:
    explicit CallArguments(FuzzedDataProvider& bytes) : m_bytes(bytes) {}

    /// To be called before the arguments of each function are made.
    void Begin()
    {
        m_place = 0;
        m_odd = m_bytes.ConsumeIntegral<std::uint8_t>();
        m_hasNull = false;
        m_texts.clear();
    }

    /// True when one of the arguments made since Begin was a null pointer that is not allowed.
    [[nodiscard]] bool HasNull() const noexcept { return m_hasNull; }
    /// True once a number was made that a book does not stand.
    [[nodiscard]] bool WasWild() const noexcept { return m_wasWild; }

    [[nodiscard]] bool Flag() { return m_bytes.ConsumeBool(); }
    [[nodiscard]] int Whole(int low, int high) { return m_bytes.ConsumeIntegralInRange(low, high); }
    template <class T, std::size_t Count>
    [[nodiscard]] T OneOf(const T (&values)[Count])
    {
        return m_bytes.PickValueInArray(values);
    }

    [[nodiscard]] double Number(double usual)
    {
        using Limits = std::numeric_limits<double>;
        if (!IsOdd()) return usual;
        static constexpr std::array<double, 18> odd{0.0,
                                                    -0.0,
                                                    0.5,
                                                    1.0,
                                                    -1.0,
                                                    0.000001,
                                                    0.005,
                                                    10.0,
                                                    1000.5,
                                                    -26710.5,
                                                    1e10,
                                                    1e11,
                                                    -1e11,
                                                    1e300,
                                                    Limits::max(),
                                                    Limits::denorm_min(),
                                                    Limits::infinity(),
                                                    Limits::quiet_NaN()};
        const auto place = static_cast<std::size_t>(Whole(0, static_cast<int>(odd.size())));
        const double number = place < odd.size() ? odd[place] : m_bytes.ConsumeFloatingPoint<double>();
        if (!(std::abs(number) < 1e6)) m_wasWild = true;
        return number;
    }
    template <class Integer>
    [[nodiscard]] Integer Integral(Integer usual)
    {
        using Limits = std::numeric_limits<Integer>;
        if (!IsOdd()) return usual;
        static constexpr std::array<Integer, 9> odd{
            0, 1, 2, 3, 100, Integer(-1), Integer(-100), Limits::max(), Limits::min()};
        const auto place = static_cast<std::size_t>(Whole(0, static_cast<int>(odd.size())));
        const Integer number = place < odd.size() ? odd[place] : m_bytes.ConsumeIntegral<Integer>();
        if (sizeof(Integer) > 1 && (number > 1000000 || number < -1000000)) m_wasWild = true;
        return number;
    }
    /// A number that decides how much is computed; odd ones stay small, so that a run sees many calls.
    [[nodiscard]] std::int32_t Size(std::int32_t usual) { return IsOdd() ? Whole(-2, 21) : usual; }

    /// One of the codes; now and then any text, or null.
    template <std::size_t Count>
    [[nodiscard]] const char* Code(const char* const (&codes)[Count], bool mayBeNull = false)
    {
        if (!IsOdd()) return m_bytes.PickValueInArray(codes);
        if (Whole(0, 7) == 0) {
            m_hasNull = m_hasNull || !mayBeNull;
            return nullptr;
        }
        return m_texts.emplace_back(m_bytes.ConsumeRandomLengthString(40)).c_str();
    }
    /// The place that a function writes to, or null.
    template <class T>
    [[nodiscard]] T* Place(T& place)
    {
        if (!IsOdd() || Whole(0, 1) == 0) return &place;
        m_hasNull = true;
        return nullptr;
    }
    [[nodiscard]] std::intptr_t Handle(std::intptr_t live) { return IsOdd() ? 0 : live; }
    /// Odd, as far as it is the turn of this argument.
    [[nodiscard]] bool IsOdd()
    {
        constexpr int all = 255;
        ++m_place;
        return m_odd == m_place || m_odd == all;
    }

private:
    FuzzedDataProvider& m_bytes;
    int m_place = 0;
    int m_odd = 0; // place of the odd argument
    bool m_hasNull = false;
    bool m_wasWild = false;
    std::deque<std::string> m_texts; // they live as long as the call
};
