// A processor without AVX2 is told so in a sentence. Everything else of the program, the constructors of its statics
// and of its libraries included, is compiled for processors that have it and would end in an illegal instruction; this
// file is not, and runs before all of them. The shared library says the same through the loader: see its link options.
#include <unistd.h>

#include <string_view>

#include "Errors.h"

namespace {

void RefuseOldProcessor()
{
    __builtin_cpu_init();
    // What the instruction level x86-64-v3 adds; a processor with these four has the rest of it too.
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi") &&
        __builtin_cpu_supports("bmi2"))
        return;
    constexpr std::string_view sentence =
        "quindal: the processor of this machine has no AVX2, which the margin engine needs\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, sentence.data(), sentence.size());
    _exit(quindal::StatusInternal);
}

[[gnu::section(".preinit_array"), gnu::used]] void (*const beforeAllConstructors)() = RefuseOldProcessor;

} // namespace
