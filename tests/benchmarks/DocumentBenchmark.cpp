// A downloaded market read as a tree, every attribute looked up once: the reader of the product against the reader of
// Boost's property tree, in the same run.
//
// Reports `ratio`, the other reader's time over the product's, both in milliseconds of the processor, and the memory
// that each takes at most beside the text, in megabytes. The argument is the number of options: 40,000 are five
// megabytes of text.
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/iostreams/device/array.hpp>
#include <boost/iostreams/stream.hpp>
#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "InTurns.h"
#include "XmlDocument.h"

namespace {

constexpr const char* Attributes[] = {"Code", "CodeVF", "Strike", "OptType", "CalcOptPrice"};

std::string MarketOf(std::int64_t options)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<root>\n";
    for (std::int64_t i = 0; i < options; ++i) {
        const std::string strike = std::to_string(1000 + i);
        text += "  <Option Code=\"INDX-" + std::to_string(i % 40) + ".27C" + strike + "\" CodeVF=\"INDX-" +
                std::to_string(i % 40) + ".27M181227\" Strike=\"" + strike + "\" OptType=\"" +
                std::to_string(1 + i % 2) + "\" CalcOptPrice=\"" + std::to_string(static_cast<double>(i) * 0.25) +
                "\"/>\n";
    }
    return text + "</root>\n";
}

/// Bytes of all attributes.
std::size_t ReadByTheProduct(std::string_view text)
{
    const QuindalIM::XmlDocument document(text);
    std::size_t bytes = 0;
    for (const pugi::xml_node& option : document.Root("root").children("Option"))
        for (const char* name : Attributes)
            bytes += std::string(option.attribute(name).value()).size();
    return bytes;
}

std::size_t ReadByPropertyTree(std::string_view text)
{
    namespace xml = boost::property_tree::xml_parser;
    boost::iostreams::stream<boost::iostreams::array_source> stream(text.data(), text.size());
    boost::property_tree::ptree document;
    read_xml(stream, document, xml::no_comments | xml::trim_whitespace);
    std::size_t bytes = 0;
    for (const auto& [tag, option] : document.get_child("root"))
        if (tag == "Option")
            for (const char* name : Attributes)
                bytes += option.get<std::string>(std::string("<xmlattr>.") + name).size();
    return bytes;
}

/// Processor time of one reading, by a heap that keeps nothing of the one before: a million small blocks that a tree
/// gave back would be put together at the cost of whoever comes next.
template <class Reader>
double MillisecondsOf(const Reader& reader, std::string_view text)
{
    malloc_trim(0);
    const std::clock_t start = std::clock();
    benchmark::DoNotOptimize(reader(text));
    return static_cast<double>(std::clock() - start) * 1e3 / CLOCKS_PER_SEC;
}

double PeakMegabytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

/// What a reader takes at most, seen by a process that does nothing else.
template <class Reader>
double MegabytesOf(const Reader& reader, std::string_view text)
{
    malloc_trim(0); // what lies free here would be used there and not be seen
    int ends[2] = {};
    if (pipe(ends) != 0) return -1.0;
    const pid_t child = fork();
    if (child == 0) {
        const double before = PeakMegabytes();
        benchmark::DoNotOptimize(reader(text));
        const double taken = PeakMegabytes() - before;
        _exit(write(ends[1], &taken, sizeof taken) == sizeof taken ? 0 : 1);
    }
    close(ends[1]); // so that the end of a child that failed ends the wait
    double taken = -1.0;
    if (::read(ends[0], &taken, sizeof taken) != sizeof taken) taken = -1.0;
    close(ends[0]);
    if (child > 0) waitpid(child, nullptr, 0);
    return taken;
}

void ReadMarket(benchmark::State& state)
{
    const std::string text = MarketOf(state.range(0));
    if (ReadByTheProduct(text) != ReadByPropertyTree(text)) state.SkipWithError("the readers differ");
    std::vector<double> product;
    std::vector<double> other;
    for (auto _ : state) {
        product.push_back(MillisecondsOf(ReadByTheProduct, text));
        other.push_back(MillisecondsOf(ReadByPropertyTree, text));
    }
    state.counters["text_MB"] = static_cast<double>(text.size()) / 1e6;
    state.counters["product_ms"] = bench::Quantile(product, 50);
    state.counters["property_tree_ms"] = bench::Quantile(other, 50);
    state.counters["ratio"] = bench::Quantile(other, 50) / bench::Quantile(product, 50);
    state.counters["product_MB"] = MegabytesOf(ReadByTheProduct, text);
    state.counters["property_tree_MB"] = MegabytesOf(ReadByPropertyTree, text);
}
BENCHMARK(ReadMarket)->Arg(160)->Arg(40'000)->Unit(benchmark::kMillisecond);

} // namespace
