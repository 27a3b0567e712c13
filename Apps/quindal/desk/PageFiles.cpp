#include "PageFiles.h"

#include <algorithm>
#include <array>

// The assembler takes a file in as it stands; its text begins at one name and ends before the other.
#define QUINDAL_TAKE_IN(name, file)                                                                                    \
    asm(".pushsection .rodata\n"                                                                                       \
        "quindal_page_" #name "_begin:\n"                                                                              \
        ".incbin \"" QUINDAL_PAGE file "\"\n"                                                                          \
        "quindal_page_" #name "_end:\n"                                                                                \
        ".byte 0\n"                                                                                                    \
        ".popsection\n");                                                                                              \
    extern "C" const char quindal_page_##name##_begin[];                                                               \
    extern "C" const char quindal_page_##name##_end[];

QUINDAL_TAKE_IN(index, "index.html")
QUINDAL_TAKE_IN(style, "desk.css")
QUINDAL_TAKE_IN(desk, "desk.js")
QUINDAL_TAKE_IN(ask, "ask.js")
QUINDAL_TAKE_IN(tree, "tree.js")
QUINDAL_TAKE_IN(client, "client.js")
QUINDAL_TAKE_IN(picture, "picture.js")
QUINDAL_TAKE_IN(ticket, "ticket.js")
QUINDAL_TAKE_IN(fit, "fit.js")
QUINDAL_TAKE_IN(basket, "basket.js")
QUINDAL_TAKE_IN(files, "files.js")

namespace quindal {

namespace {

constexpr std::string_view Script = "text/javascript";

#define QUINDAL_TEXT(name)                                                                                             \
    std::string_view(quindal_page_##name##_begin,                                                                      \
                     static_cast<std::size_t>(quindal_page_##name##_end - quindal_page_##name##_begin))

const std::array Files{PageFile{"index.html", "text/html", QUINDAL_TEXT(index)},
                       PageFile{"desk.css", "text/css", QUINDAL_TEXT(style)},
                       PageFile{"desk.js", Script, QUINDAL_TEXT(desk)},
                       PageFile{"ask.js", Script, QUINDAL_TEXT(ask)},
                       PageFile{"tree.js", Script, QUINDAL_TEXT(tree)},
                       PageFile{"client.js", Script, QUINDAL_TEXT(client)},
                       PageFile{"picture.js", Script, QUINDAL_TEXT(picture)},
                       PageFile{"ticket.js", Script, QUINDAL_TEXT(ticket)},
                       PageFile{"fit.js", Script, QUINDAL_TEXT(fit)},
                       PageFile{"basket.js", Script, QUINDAL_TEXT(basket)},
                       PageFile{"files.js", Script, QUINDAL_TEXT(files)}};

} // namespace

const PageFile* FindPageFile(std::string_view name)
{
    const auto found =
        std::find_if(Files.begin(), Files.end(), [&](const PageFile& file) { return file.name == name; });
    return found == Files.end() ? nullptr : &*found;
}

} // namespace quindal
