#include "FetchCommand.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "CalcGOConsts.h"
#include "Errors.h"
#include "ImServer.h"
#include "MarginSession.h"
#include "Output.h"
#include "Password.h"
#include "PrivateRouter.h"
#include "RunLog.h"
#include "WholeFile.h"

namespace quindal {

namespace {

std::string TextOf(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    if (!stream || std::filesystem::is_directory(file) || !(text << stream.rdbuf()))
        throw InputError(file + ": cannot be read");
    return text.str();
}

/// Writes the live server's ini file with one more setting, by which the library saves a copy of the reply. Of a
/// repeated setting the library takes the last.
void WriteIniWithCopy(const std::string& ini, const std::string& live, const std::string& copy)
{
    std::ofstream file(ini, std::ios::binary);
    file << TextOf(live) << "\n[" << QuindalIM::IniSectionOptions << "]\n"
         << QuindalIM::IniKeyXmlPath << " = " << copy << '\n';
    if (!file.flush()) throw std::runtime_error(ini + ": cannot be written");
}

} // namespace

void Fetch(const FetchOptions& options)
{
    const TemporaryFolder folder("quindal-fetch-");
    const std::string ini = (folder.Path() / "quindal.ini").string();
    const std::string copy = (folder.Path() / "market.xml").string();
    WriteIniWithCopy(ini, options.iniFile, copy);
    {
        const Secret password = AskPassword(options.passwordVariable, options.user);
        RunLog log(options.iniFile);
        MarginSession session({ini, options.iniFile}, options.user, password.Text(), log);
        session.LoadInstruments();
    }
    // Read as serve and margin will read it, so that a copy cut short by a full disk is refused.
    const InstrumentsDocument document(copy);
    if (options.out != "-")
        WriteWhole(options.out, document.plain);
    else
        std::cout << document.plain;
}

} // namespace quindal
