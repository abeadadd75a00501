// The property vocabulary of the named-property queries: one table, walked by the
// value query, the type query and every other consumer (the tool, the C++ and
// Python interfaces).
#ifndef KVMCF_API_PROPERTYTABLE_H
#define KVMCF_API_PROPERTYTABLE_H

#include <cstddef>

#include "api/MCFIOManager.h"

namespace PropertyTable {

enum class Match { Exact, Contains };

struct Context {
    TMCFIOManager& manager;
    KVMCF_DataSource source;
    TMCFIOManager::TImage& image;
    const char* name;  // the caller's whole name, for the indexed names
};

// Writes the value text (bounded by size, last byte already cleared); returns the result code.
using Formatter = unsigned int (*)(const Context& context, char* value, unsigned int size);
// The type of a name that matched; most rows have a fixed type, sub-image names check the name.
using TypeCheck = unsigned int (*)(const Context& context, KVMCF_PropertyType* type);

struct Row {
    const char* name;
    Match match;
    unsigned int type;  // a KVMCF_PropertyType value, or the bare 1 of the one-byte codes
    Formatter format;
    TypeCheck checkType;  // null: the fixed type
};

// In the order the value query compares.
const Row* ValueRows(std::size_t* count);

// The row whose name matches first in the value query's order, or null.
const Row* FindForValue(const char* name);
// The row whose name matches first in the type query's order, or null. The orders
// differ, and the difference decides the type of overlapping names.
const Row* FindForType(const char* name);

// Indexed properties (time stamps, metadata words, sub-image fields) are named with
// an index; these are the names a listing uses for them.
bool IsIndexed(const Row& row);

// Full-name tables.
void getReadPatternFullName(unsigned char code, char* value, unsigned int size);
void getAcquisitionModeFullName(unsigned char code, char* value, unsigned int size);
void getTriggerSourceFullName(unsigned char code, char* value, unsigned int size);

// The intensifier fields of the record replace the header's for these camera heads.
bool isUSBGelta(TMCFIOManager::TImage* image);

}  // namespace PropertyTable

#endif
