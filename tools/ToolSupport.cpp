#include "tools/ToolSupport.h"

#include <sys/stat.h>

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace kvmcftools {

std::optional<kvmcf::SourceId> SourceNamed(const std::string& name) {
    for (int i = 0; i < kvmcf::kSourceCount; ++i) {
        const auto id = static_cast<kvmcf::SourceId>(i);
        if (name == kvmcf::sourceName(id)) return id;
    }
    return std::nullopt;
}

std::string SourceNameList() {
    std::string list;
    for (int i = 0; i < kvmcf::kSourceCount; ++i) {
        if (i) list += i + 1 == kvmcf::kSourceCount ? " or " : ", ";
        list += kvmcf::sourceName(static_cast<kvmcf::SourceId>(i));
    }
    return list;
}

std::string SourceNameError(const std::string& name, const std::vector<std::string>& extra) {
    if (SourceNamed(name)) return "";
    for (const std::string& e : extra)
        if (name == e) return "";
    std::string list = SourceNameList();
    for (const std::string& e : extra) list += " or " + e;
    return "unknown source " + name + " (" + list + ")";
}

std::optional<kvmcf::File> OpenFile(const std::string& path, std::string* why, kvmcf::ReadMode mode) {
    try {
        return kvmcf::File::open(path, mode);
    } catch (const kvmcf::Error& e) {
        // The library's message names the path and says the system's or the format's reason.
        *why = e.what();
    } catch (const std::bad_alloc&) {
        *why = path + ": not enough memory to open it";
    }
    return std::nullopt;
}

std::optional<kvmcf::File> OpenOrSay(const std::string& path, kvmcf::ReadMode mode) {
    std::string why;
    std::optional<kvmcf::File> file = OpenFile(path, &why, mode);
    if (!file) Fail(why);
    return file;
}

int Fail(const std::string& why) {
    std::fprintf(stderr, "kvmcf: %s\n", why.c_str());
    return kFileProblem;
}

Json JsonDocument(std::vector<Json> files) {
    Json document = Json::object();
    document["format_version"] = kJsonFormatVersion;
    document["files"] = Json::array();
    for (Json& f : files) document["files"].push_back(std::move(f));
    return document;
}

Json JsonFailure(const std::string& path, const std::string& why) {
    return Json{{"file", path}, {"error", why}};
}

void PrintJson(const Json& document) {
    // Paths and messages that are not UTF-8 are shown with replacement characters rather than refused.
    std::cout << document.dump(2, ' ', false, Json::error_handler_t::replace) << std::endl;
}

int ForEachFile(const std::vector<std::string>& paths, bool json, const FileStep& step) {
    int code = 0;
    std::vector<Json> entries;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const std::string& path = paths[i];
        if (!json && i) std::printf("\n");
        std::string why;
        Json entry;
        try {
            if (step(path, json, &entry, &why)) {
                if (json) entries.push_back(std::move(entry));
                continue;
            }
        } catch (const kvmcf::Error& e) {
            why = path + ": " + e.what();
        } catch (const std::bad_alloc&) {
            why = path + ": not enough memory for this";
        }
        code = kFileProblem;
        if (json) entries.push_back(JsonFailure(path, why));
        Fail(why);
    }
    if (json) PrintJson(JsonDocument(std::move(entries)));
    return code;
}

std::string FloatText(float value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return std::string(text, end);
}

Json FloatJson(float value) {
    if (!std::isfinite(value)) return nullptr;
    // The double nearest the shortest float32 text prints as that same text.
    return std::strtod(FloatText(value).c_str(), nullptr);
}

const char* PropertyTypeName(const kvmcf::Property& p) {
    // The type query calls the high-precision time stamps uint32; their values are floats.
    if (std::holds_alternative<double>(p.value) && p.type != kvmcf::PropertyType::Double)
        return kvmcf::typeName(kvmcf::PropertyType::Float);
    return kvmcf::typeName(p.type);
}

Json PropertyJson(const kvmcf::Property& p) {
    if (const auto* v = std::get_if<long long>(&p.value)) return *v;
    if (const auto* v = std::get_if<unsigned long long>(&p.value)) return *v;
    if (const auto* v = std::get_if<std::string>(&p.value)) {
        // Texts in the files are single bytes of no declared encoding: each byte above
        // ASCII becomes the character of that number, so none is lost or refused.
        std::string utf8;
        for (unsigned char c : *v) {
            if (c < 0x80) {
                utf8 += static_cast<char>(c);
            } else {
                utf8 += static_cast<char>(0xC0 | (c >> 6));
                utf8 += static_cast<char>(0x80 | (c & 0x3F));
            }
        }
        return utf8;
    }
    if (const auto* v = std::get_if<double>(&p.value)) {
        // Only double properties hold more than a float32; every other number is one.
        if (p.type == kvmcf::PropertyType::Double) return std::isfinite(*v) ? Json(*v) : Json(nullptr);
        return FloatJson(static_cast<float>(*v));
    }
    return nullptr;
}

std::string JsonString(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c < 0x20 || c >= 0x7F) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

// ---- Outputs

namespace {

struct FormatWord {
    const char* word;
    OutputFormat format;
};
const FormatWord kFormatWords[] = {{"tiff", OutputFormat::Tiff}, {"tif", OutputFormat::Tiff},
                                   {"hdf5", OutputFormat::Hdf5}, {"h5", OutputFormat::Hdf5},
                                   {"hdf", OutputFormat::Hdf5},  {"csv", OutputFormat::Csv},
                                   {"png", OutputFormat::Png},   {"mcf", OutputFormat::Mcf},
                                   {"json", OutputFormat::Json}};

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

}  // namespace

OutputFormat FormatNamed(const std::string& name) {
    const std::string lower = Lower(name);
    for (const FormatWord& f : kFormatWords)
        if (lower == f.word) return f.format;
    return OutputFormat::Unknown;
}

OutputFormat FormatOfName(const std::string& path) {
    const std::size_t dot = path.find_last_of('.');
    const std::size_t slash = path.find_last_of('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return OutputFormat::Unknown;
    return FormatNamed(path.substr(dot + 1));
}

const char* FormatName(OutputFormat format) {
    switch (format) {
        case OutputFormat::Tiff: return "tiff";
        case OutputFormat::Hdf5: return "hdf5";
        case OutputFormat::Csv: return "csv";
        case OutputFormat::Png: return "png";
        case OutputFormat::Mcf: return "mcf";
        case OutputFormat::Json: return "json";
        case OutputFormat::Unknown: break;
    }
    return "unknown";
}

bool OutputAllowed(const std::string& out, const std::vector<std::string>& inputs, bool force, std::string* why) {
    if (out == "-") return true;
    struct stat o {};
    if (::stat(out.c_str(), &o) != 0) return true;  // nothing there yet (or a dangling link, replaced by the rename)
    for (const std::string& in : inputs) {
        struct stat i {};
        // By device and inode: a second name, hard link or symbolic link is still the input.
        if (::stat(in.c_str(), &i) == 0 && i.st_dev == o.st_dev && i.st_ino == o.st_ino) {
            *why = out + ": is the input " + in + "; write to another file";
            return false;
        }
    }
    if (S_ISDIR(o.st_mode)) {
        *why = out + ": Is a directory";
        return false;
    }
    if (!force) {
        *why = out + ": exists (use --force to replace it)";
        return false;
    }
    return true;
}

bool ExtensionAgrees(const std::string& out, OutputFormat format, std::string* why) {
    const OutputFormat named = FormatOfName(out);
    if (out == "-" || named == OutputFormat::Unknown || named == format) return true;
    *why = out + ": the name says " + FormatName(named) + " but the output is " + FormatName(format) +
           "; rename it or change --format";
    return false;
}

}  // namespace kvmcftools
