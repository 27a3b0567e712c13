// Draw: numbers of a seeded generator, the same on every machine: std::mt19937_64 is, the distributions are not.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

namespace replay {

class Draw
{
public:
    explicit Draw(std::uint64_t seed) : m_engine(seed) {}

    /// A whole number from low to high, both included.
    [[nodiscard]] int Whole(int low, int high)
    {
        return low + static_cast<int>(m_engine() % static_cast<std::uint64_t>(high - low + 1));
    }
    [[nodiscard]] bool OnceIn(int times) { return Whole(1, times) == 1; }
    /// One of {low, low + step, ...}, `count` values.
    [[nodiscard]] double Grid(double low, double step, int count) { return low + step * Whole(0, count - 1); }

    template <class T>
    [[nodiscard]] T OneOf(std::initializer_list<T> values)
    {
        return *(values.begin() + Whole(0, static_cast<int>(values.size()) - 1));
    }
    template <class T>
    [[nodiscard]] const T& OneOf(const std::vector<T>& values)
    {
        return values[static_cast<std::size_t>(Whole(0, static_cast<int>(values.size()) - 1))];
    }

private:
    std::mt19937_64 m_engine;
};

} // namespace replay
