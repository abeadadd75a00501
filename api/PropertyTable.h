// The property vocabulary of the named-property queries: one table, walked by the
// value query, the type query and every other consumer (the tool, the C++ and
// Python interfaces). Each row reads a typed value and formats it, so the text and
// the typed value of a name always come from the same place.
#ifndef KVMCF_API_PROPERTYTABLE_H
#define KVMCF_API_PROPERTYTABLE_H

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include "api/MCFIOManager.h"

namespace PropertyTable {

enum class Match { Exact, Contains };

struct Context {
    TMCFIOManager& manager;
    KVMCF_DataSource source;
    TMCFIOManager::TImage& image;
    const char* name;  // the caller's whole name, for the indexed names
};

// A typed value. monostate: the query writes no text (an unknown sub-image field, a
// gate mode past its table). Integers of the int32 type are long long, every unsigned
// type (the one-byte codes too) unsigned long long, float and double are double.
using Value = std::variant<std::monostate, long long, unsigned long long, double, std::string>;

// Reads the row's value; returns the result code the value query answers.
using Reader = unsigned int (*)(const Context& context, Value* value);
// Writes the text of a value where the generic formatting does not apply.
using Writer = void (*)(const Value& value, char* text, unsigned int size);
// The type of a name that matched; most rows have a fixed type, sub-image names check the name.
using TypeCheck = unsigned int (*)(const Context& context, KVMCF_PropertyType* type);

struct Row {
    const char* name;
    unsigned int typeRank;  // position in the type query's order, from 0
    Match match;            // how the value query matches a name
    Match typeMatch;        // how the type query does
    unsigned int type;      // a KVMCF_PropertyType value, or the bare 1 of the one-byte codes
    Reader read;
    const char* pattern;  // printf format of numbers; null for texts
    Writer write;         // null: the generic formatting of `pattern`
    TypeCheck checkType;  // null: the fixed type

    // The value query on this row: reads the value and writes its text into value
    // (size bytes, last byte already cleared); returns the result code.
    unsigned int format(const Context& context, char* value, unsigned int size) const;
};

// In the order the value query compares.
const Row* ValueRows(std::size_t* count);

// The row whose name matches first in the value query's order, or null.
const Row* FindForValue(const char* name);
// The row whose name matches first in the type query's order, or null. The orders
// differ, and the difference decides the type of overlapping names.
const Row* FindForType(const char* name);

// The property types: the code the type query answers and the name listings, JSON
// and Python give it, in the order of kvmcf::PropertyType.
struct TypeInfo {
    unsigned int code;
    const char* name;
};
const TypeInfo* Types(std::size_t* count);
// The entry of a type code; the one-byte codes' for a code that is none of them.
std::size_t TypeIndex(unsigned int code);

// The text a value query with a buffer of size bytes writes for a value read from row.
void FormatValue(const Row& row, const Value& value, char* text, unsigned int size);

// Indexed properties (time stamps, metadata words, sub-image fields) are named with
// an index; these are the names a listing uses for them.
bool IsIndexed(const Row& row);
// The names a listing shows for a source with `subImages` sub-images: every plain
// name, each sub-image field by number, the per-frame names for frame 0.
std::vector<std::string> ListingNames(unsigned int subImages);

// Full-name tables.
void getReadPatternFullName(unsigned char code, char* value, unsigned int size);
void getAcquisitionModeFullName(unsigned char code, char* value, unsigned int size);
void getTriggerSourceFullName(unsigned char code, char* value, unsigned int size);

// The intensifier fields of the record replace the header's for these camera heads.
bool isUSBGelta(TMCFIOManager::TImage* image);

}  // namespace PropertyTable

#endif
