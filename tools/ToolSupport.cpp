#include "tools/ToolSupport.h"

#include <algorithm>
#include <cstdio>

namespace kvmcftools {

const SourceName kSourceNames[5] = {
    {KVMCF_SIGNAL, kvmcf::sourceName(kvmcf::SourceId::Signal)},
    {KVMCF_REFERENCE, kvmcf::sourceName(kvmcf::SourceId::Reference)},
    {KVMCF_BACKGROUND, kvmcf::sourceName(kvmcf::SourceId::Background)},
    {KVMCF_LIVE, kvmcf::sourceName(kvmcf::SourceId::Live)},
    {KVMCF_SOURCE, kvmcf::sourceName(kvmcf::SourceId::Source)},
};

bool SourceByName(const std::string& name, KVMCF_DataSource* source) {
    for (const SourceName& s : kSourceNames)
        if (name == s.name) {
            *source = s.source;
            return true;
        }
    return false;
}

const char* ResultText(unsigned int code) {
    switch (code) {
        case KVMCF_SUCCESS: return "success";
        case KVMCF_FORMAT_ERROR: return "not a readable multi-channel file, or it cannot be opened";
        case KVMCF_NOT_LOADED: return "no file loaded";
        case KVMCF_FILE_ERROR: return "the file could not be read to its end";
        case KVMCF_NOT_PRESENT: return "data source not present";
        default: return "invalid argument";
    }
}

std::optional<kvmcf::File> OpenOrSay(const std::string& path, kvmcf::ReadMode mode) {
    try {
        return kvmcf::File::open(path, mode);
    } catch (const kvmcf::Error& e) {
        std::string where;
        if (const auto& p = e.position()) {
            where = ", stopped in the ";
            if (p->source >= 0) where += std::string(kvmcf::sourceName(static_cast<kvmcf::SourceId>(p->source))) + " ";
            where += p->record + " record at byte " + std::to_string(p->offset);
        }
        std::fprintf(stderr, "kvmcf: %s: %s (%u)%s\n", path.c_str(), ResultText(e.code()), e.code(), where.c_str());
    }
    return std::nullopt;
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
            // Texts in the files are single bytes of no declared encoding: keep each byte.
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

bool Arguments::Has(const std::string& flag) const {
    return std::any_of(flags.begin(), flags.end(), [&](const auto& f) { return f.first == flag; });
}

std::string Arguments::Value(const std::string& flag, const std::string& fallback) const {
    for (const auto& f : flags)
        if (f.first == flag) return f.second;
    return fallback;
}

bool ParseArguments(const std::vector<std::string>& words, const std::vector<std::string>& known,
                    const std::vector<std::string>& withValue, Arguments* out) {
    auto in = [](const std::vector<std::string>& list, const std::string& w) {
        return std::find(list.begin(), list.end(), w) != list.end();
    };
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& w = words[i];
        if (w.size() < 3 || w.compare(0, 2, "--") != 0) {
            out->positional.push_back(w);
            continue;
        }
        std::string flag = w, value;
        const std::size_t eq = w.find('=');
        if (eq != std::string::npos) {
            flag = w.substr(0, eq);
            value = w.substr(eq + 1);
        }
        if (!in(known, flag) && !in(withValue, flag)) {
            std::fprintf(stderr, "kvmcf: unknown option %s\n", flag.c_str());
            return false;
        }
        if (in(withValue, flag) && eq == std::string::npos) {
            if (i + 1 >= words.size()) {
                std::fprintf(stderr, "kvmcf: option %s needs a value\n", flag.c_str());
                return false;
            }
            value = words[++i];
        }
        out->flags.emplace_back(flag, value);
    }
    return true;
}

}  // namespace kvmcftools
