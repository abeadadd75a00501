// Pieces every kvmcf verb shares: source names, opening a file with one honest line
// on failure, the JSON document shape, and the rules that keep outputs from ever
// replacing an input or a file the user did not name for replacement.
#ifndef KVMCF_TOOLS_TOOLSUPPORT_H
#define KVMCF_TOOLS_TOOLSUPPORT_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "kvmcf/kvmcf.hpp"

namespace kvmcftools {

// Exit codes: a file that cannot be read or written, and a command line that makes no sense.
constexpr int kFileProblem = 1;
constexpr int kUsageProblem = 2;

// Objects keep their keys in the order the tool writes them.
using Json = nlohmann::ordered_json;

// The version of the --json document shape; raised when a key changes meaning or goes.
constexpr int kJsonFormatVersion = 1;

// The source called `name` ("signal", ...), nothing for another word.
std::optional<kvmcf::SourceId> SourceNamed(const std::string& name);
// Empty when `name` is a source name (or one of `extra`), else "unknown source NAME (...)",
// for the command line's checks.
std::string SourceNameError(const std::string& name, const std::vector<std::string>& extra = {});
// "signal, reference, background, live or source", for messages and help.
std::string SourceNameList();

// Opens path. On failure, the one line of the library's message (it names the path
// and the system's or the format's reason) goes to *why and nothing is returned.
std::optional<kvmcf::File> OpenFile(const std::string& path, std::string* why,
                                    kvmcf::ReadMode mode = kvmcf::ReadMode::HeaderOnly);
// The same, saying why on stderr.
std::optional<kvmcf::File> OpenOrSay(const std::string& path, kvmcf::ReadMode mode = kvmcf::ReadMode::HeaderOnly);

// "kvmcf: WHY" on stderr; returns kFileProblem.
int Fail(const std::string& why);

// The document every --json output is: {"format_version": 1, "files": [...]} with one
// entry per file argument, in order.
Json JsonDocument(std::vector<Json> files);
// A file entry for a file that could not be read: {"file": path, "error": why}.
Json JsonFailure(const std::string& path, const std::string& why);
void PrintJson(const Json& document);

// One file's share of a verb that takes several: with `json` it sets *entry, else it
// prints its text; false with a reason naming the file when the file cannot be shown.
using FileStep = std::function<bool(const std::string& path, bool json, Json* entry, std::string* why)>;
// Runs step for each path in order, a blank line between texts. A failed file is named
// on stderr and, with `json`, keeps its place in the one printed document with its
// error; a failed read or exhausted memory is such a failure. 0, or kFileProblem when
// any file failed.
int ForEachFile(const std::vector<std::string>& paths, bool json, const FileStep& step);

// A float32 as the shortest decimal that reads back to the same float32 (JSON null
// for NaN and infinities, which JSON cannot hold).
Json FloatJson(float value);
// A property's value as JSON of its own type: integers whole (64-bit words too),
// floats shortest, doubles as they are, texts as strings.
Json PropertyJson(const kvmcf::Property& property);
// The type name a property shows: "int32", "uint32", "uint64", "float", "double",
// "string", "byte"; "float" for a float value under an integer type (the high-precision
// time stamps), so the name says what the value is. Kept here until the interface
// offers a name per type.
const char* PropertyTypeName(const kvmcf::Property& property);
// The shortest text of a float32, as FloatJson writes it ("nan", "inf" as C prints them).
std::string FloatText(float value);

// JSON string literal for any bytes, each byte above ASCII kept as its own \u00XX.
std::string JsonString(const std::string& text);

// ---- Outputs. Every verb that writes a file goes through these before it writes.

// The formats the tool writes, and the extensions that name each.
enum class OutputFormat { Unknown, Tiff, Hdf5, Csv, Png, Mcf, Json };
OutputFormat FormatNamed(const std::string& name);
// The format an output's name announces by its extension; Unknown for none.
OutputFormat FormatOfName(const std::string& path);
const char* FormatName(OutputFormat format);

// False with a reason when `out` may not be written: it is one of the inputs (the same
// file by device and inode, so also through a hard or symbolic link), it exists and
// `force` is not given, or it is a folder. "-" (standard output) is always allowed.
bool OutputAllowed(const std::string& out, const std::vector<std::string>& inputs, bool force, std::string* why);
// False with a reason when out's extension names another format than `format`.
bool ExtensionAgrees(const std::string& out, OutputFormat format, std::string* why);

}  // namespace kvmcftools

#endif
