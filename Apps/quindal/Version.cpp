#include "Version.h"

#include <string_view>

#include <boost/version.hpp>
#include <nats/nats.h>
#include <pugixml.hpp>
#include <snappy.h>

#include "CalcGOConsts.h"
#include "QuindalIM.h"
#include "Z9MQ.h"
#include "kv7errors.h"

namespace quindal {

namespace {

// The exported text has the number of the build behind the version of the project.
static_assert(std::string_view(QuindalIM::LibraryVersion).starts_with(QUINDAL_VERSION "."),
              "LibraryVersion in CalcGOConsts.h begins with the version in CMakeLists.txt");

// The sources are compiled for the level that cmake/QuindalTargets.cmake names, whose last instructions are these.
#if defined(__AVX2__) && defined(__FMA__) && defined(__BMI2__) && defined(__MOVBE__)
constexpr const char* Instructions = "x86-64-v3 (AVX2)";
#else
#error "the engine is written for x86-64-v3"
#endif

#ifdef __clang__
constexpr const char* Compiler = "clang " __clang_version__;
#else
constexpr const char* Compiler = "gcc " __VERSION__;
#endif

std::string PlatformVersion()
{
    char* version = nullptr;
    return Z9GetVersion(&version) == Z9ERR_OK && version != nullptr ? version : "unknown";
}

/// "1.74.0" for 107400.
std::string BoostVersion()
{
    return std::to_string(BOOST_VERSION / 100'000) + '.' + std::to_string(BOOST_VERSION / 100 % 1000) + '.' +
           std::to_string(BOOST_VERSION % 100);
}

std::string SnappyVersion()
{
    return std::to_string(SNAPPY_MAJOR) + '.' + std::to_string(SNAPPY_MINOR) + '.' + std::to_string(SNAPPY_PATCHLEVEL);
}

/// "1.13" for 1130, "1.13.1" for 1131.
std::string PugixmlVersion()
{
    const int patch = PUGIXML_VERSION % 10;
    return std::to_string(PUGIXML_VERSION / 1000) + '.' + std::to_string(PUGIXML_VERSION / 10 % 100) +
           (patch == 0 ? "" : '.' + std::to_string(patch));
}

} // namespace

std::string VersionText()
{
    std::string compiler = Compiler;
    compiler.erase(compiler.find_last_not_of(' ') + 1);
    return "quindal " QUINDAL_VERSION "\nlibQuindalIM_Client: " + std::string(GetQuindalIMLibraryVersion()) +
           "\nlibZ9Sys: " + PlatformVersion() + "\nlibnats: " + nats_GetVersion() + "\nsnappy: " + SnappyVersion() +
           "\npugixml: " + PugixmlVersion() + "\nBoost: " + BoostVersion() + "\ninstructions: " + Instructions +
           "\ncompiler: " + compiler;
}

} // namespace quindal
