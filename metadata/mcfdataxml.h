// An XML document with a cursor stack, through which the classes of the image tree
// find and write their elements. The bottom of the stack is always the document.
// Every value is the text of its own element; no attributes are used.
#ifndef KVMCF_METADATA_MCFDATAXML_H
#define KVMCF_METADATA_MCFDATAXML_H

#include <cstddef>
#include <cstdio>
#include <ostream>
#include <vector>

#include <tinyxml.h>

class TMcfDataXML {
public:
    // The parser recurses once per nesting level and takes time quadratic in the
    // depth. A text with more markup than this is parsed only up to that point, which
    // bounds the depth whatever the text holds; a whole file's section needs about 350.
    static constexpr std::size_t kMaxMarkup = 4096;

    // A new document holding the declaration of version "1.0".
    TMcfDataXML();
    // A document parsed from text. A text the parser rejects is used as far as it was
    // built; a null text gives an empty document.
    explicit TMcfDataXML(const char* text);
    TMcfDataXML(const TMcfDataXML&) = delete;
    TMcfDataXML& operator=(const TMcfDataXML&) = delete;

    void GotoRootLevel();
    // Appends an element to the current node and makes it current.
    void AddChildNode(const char* name);
    // The document itself is never popped.
    void PopNode();
    int getStackHeadIndex() const { return static_cast<int>(cursor.size()) - 1; }

    // Enters the first child element named `name`; false (cursor unchanged) if none.
    bool SetFirstChildNode(const char* name);
    // Moves to the next sibling element named `name`; false (cursor unchanged) if none.
    bool SetNextSiblingNode(const char* name);
    const char* GetNodeValue() const;

    // Appends to the current node an element `name` holding the value as text.
    void SetData(const char* name, const char* value);
    void SetData(const char* name, int value);
    void SetData(const char* name, bool value);
    void SetData(const char* name, float value);
    void SetData(const char* name, double value);

    // Values of the current node's first child element `name`; the default when
    // there is none or it holds no text. Numbers read as atoi/atof do (0 if malformed).
    const char* GetStringData(const char* name, const char* defaultValue) const;
    int GetIntData(const char* name, int defaultValue) const;
    float GetFloatData(const char* name, float defaultValue) const;
    double GetDoubleData(const char* name, double defaultValue) const;
    bool GetBoolData(const char* name, bool defaultValue) const;

    bool SaveFile(const char* path);
    void Print(std::FILE* file) const;
    friend std::ostream& operator<<(std::ostream& os, TMcfDataXML& xml);

private:
    TiXmlNode* Current() const { return cursor.back(); }
    // The text of the current node's first child element `name`, or null.
    const char* ChildText(const char* name) const;
    void AppendText(const char* name, const char* text);

    TiXmlDocument document;
    std::vector<TiXmlNode*> cursor;
};

#endif
