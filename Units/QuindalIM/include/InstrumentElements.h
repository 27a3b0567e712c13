// InstrumentElements: the way of the server's instrument document into the calculator, element by element.
#pragma once

#include <pugixml.hpp>

namespace QuindalIM {

class CCalcGOEx;

/// Inserts the children of the document's root in their order, each into the calculator and, when that worked, into its
/// tables as text. Elements of other kinds are passed over. Multilegs go in at the end, when all their legs are there.
/// What went in before a failure stays.
/// Throws CZ9Error for a refused insertion or a malformed value, std::out_of_range for a number beyond its type, and
/// NoSuchNode for a missing attribute.
void InsertInstruments(CCalcGOEx& calculator, pugi::xml_node root);

} // namespace QuindalIM
