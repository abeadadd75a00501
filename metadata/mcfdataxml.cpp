#include "metadata/mcfdataxml.h"

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

namespace {

// Every element starts with "<", so the count of "<" bounds the nesting depth.
// Returns the length of the longest prefix holding at most `limit` of them.
std::size_t BoundedMarkupLength(const char* text, std::size_t limit) {
    std::size_t seen = 0;
    std::size_t i = 0;
    for (; text[i] != '\0'; ++i) {
        if (text[i] == '<' && ++seen > limit) break;
    }
    return i;
}

// Numbers are written with 8 significant digits in the default notation.
template <class T>
std::string NumberText(T value) {
    std::ostringstream os;
    os.precision(8);
    os << value;
    return os.str();
}

}  // namespace

TMcfDataXML::TMcfDataXML() {
    document.LinkEndChild(new TiXmlDeclaration("1.0", "", ""));
    GotoRootLevel();
}

TMcfDataXML::TMcfDataXML(const char* text) {
    GotoRootLevel();
    if (text == nullptr) return;
    const std::size_t length = BoundedMarkupLength(text, kMaxMarkup);
    if (text[length] == '\0') {
        document.Parse(text, nullptr, TIXML_DEFAULT_ENCODING);
    } else {
        const std::string prefix(text, length);
        document.Parse(prefix.c_str(), nullptr, TIXML_DEFAULT_ENCODING);
    }
}

void TMcfDataXML::GotoRootLevel() {
    cursor.clear();
    cursor.push_back(&document);
}

void TMcfDataXML::AddChildNode(const char* name) {
    if (name == nullptr) return;
    TiXmlNode* child = Current()->LinkEndChild(new TiXmlElement(name));
    // A node that cannot take children (there is none in this vocabulary) refuses it.
    if (child) cursor.push_back(child);
}

void TMcfDataXML::PopNode() {
    if (cursor.size() > 1) cursor.pop_back();
}

bool TMcfDataXML::SetFirstChildNode(const char* name) {
    if (name == nullptr) return false;
    TiXmlElement* child = Current()->FirstChildElement(name);
    if (child == nullptr) return false;
    cursor.push_back(child);
    return true;
}

bool TMcfDataXML::SetNextSiblingNode(const char* name) {
    if (name == nullptr || cursor.size() < 2) return false;
    TiXmlElement* sibling = Current()->NextSiblingElement(name);
    if (sibling == nullptr) return false;
    cursor.back() = sibling;
    return true;
}

const char* TMcfDataXML::GetNodeValue() const { return Current()->Value(); }

void TMcfDataXML::AppendText(const char* name, const char* text) {
    if (name == nullptr) return;
    TiXmlElement* element = new TiXmlElement(name);
    element->LinkEndChild(new TiXmlText(text ? text : ""));
    Current()->LinkEndChild(element);
}

void TMcfDataXML::SetData(const char* name, const char* value) { AppendText(name, value); }
void TMcfDataXML::SetData(const char* name, int value) { AppendText(name, std::to_string(value).c_str()); }
void TMcfDataXML::SetData(const char* name, bool value) { AppendText(name, value ? "true" : "false"); }
void TMcfDataXML::SetData(const char* name, float value) { AppendText(name, NumberText(value).c_str()); }
void TMcfDataXML::SetData(const char* name, double value) { AppendText(name, NumberText(value).c_str()); }

const char* TMcfDataXML::ChildText(const char* name) const {
    if (name == nullptr) return nullptr;
    const TiXmlElement* child = Current()->FirstChildElement(name);
    return child ? child->GetText() : nullptr;
}

const char* TMcfDataXML::GetStringData(const char* name, const char* defaultValue) const {
    const char* text = ChildText(name);
    return text ? text : defaultValue;
}

int TMcfDataXML::GetIntData(const char* name, int defaultValue) const {
    const char* text = ChildText(name);
    return text ? std::atoi(text) : defaultValue;
}

float TMcfDataXML::GetFloatData(const char* name, float defaultValue) const {
    const char* text = ChildText(name);
    return text ? static_cast<float>(std::atof(text)) : defaultValue;
}

double TMcfDataXML::GetDoubleData(const char* name, double defaultValue) const {
    const char* text = ChildText(name);
    return text ? std::atof(text) : defaultValue;
}

bool TMcfDataXML::GetBoolData(const char* name, bool defaultValue) const {
    if (name == nullptr || Current()->FirstChildElement(name) == nullptr) return defaultValue;
    const char* text = ChildText(name);
    return text != nullptr && std::strcmp(text, "true") == 0;
}

bool TMcfDataXML::SaveFile(const char* path) { return path != nullptr && document.SaveFile(path); }

void TMcfDataXML::Print(std::FILE* file) const {
    if (file) document.Print(file);
}

std::ostream& operator<<(std::ostream& os, TMcfDataXML& xml) { return os << xml.document; }
