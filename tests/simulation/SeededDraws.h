// SeededDraws: while it lives, generators of RapidCheck draw from a seed of ours, outside of any property.
#pragma once

#include <cstdint>

#include <rapidcheck.h>

namespace simulation {

class SeededDraws final : public rc::gen::detail::GenerationHandler
{
public:
    explicit SeededDraws(std::uint64_t seed) : m_random(seed) {}

    rc::detail::Any onGenerate(const rc::Gen<rc::detail::Any>& gen) override
    {
        return gen(m_random.split(), rc::kNominalSize).value();
    }

private:
    rc::Random m_random;
    rc::detail::ImplicitParam<rc::gen::detail::param::CurrentHandler> m_drawsHere{this};
};

} // namespace simulation
