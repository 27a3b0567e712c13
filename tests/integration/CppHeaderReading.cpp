// A reader of QuindalIM.hpp in C++17: the header may come twice, in any order with QuindalIM.h, and its templates are
// good for what they hold. It is compiled, not run.
#include <QuindalIM.h>
#include <QuindalIM.hpp>

double GoOfFive(std::string_view password);
double GoOfFive(std::string_view password)
{
    auto library = quindalim::Library::start("quindal.ini", "USER01", password).value();
    const auto calculator = library.calculator().value();
    calculator.loadInstruments().value();
    calculator.registerFirm({"AA01"}).value();
    calculator.registerClient({"AA01001"}).value();
    if (const auto futures = calculator.futures(); !futures || futures.value().empty()) return 0.0;
    return calculator.setPosition({"AA01001", "INDX-12.26", 5, 3300.0}).value().go;
}
