#include "text/format_options_reader.h"

#include <new>
#include <utility>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/SAX2XMLReaderImpl.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "text/parser_memory.h"

namespace znfi_runtime {
namespace {

// What the document is not allowed to be.
struct Malformed {};

std::string utf8(const XMLCh* text) {
    const xercesc::TranscodeToStr bytes(text, "UTF-8");
    return std::string(reinterpret_cast<const char*>(bytes.str()), bytes.length());
}

class OptionHandler : public xercesc::DefaultHandler {
  public:
    std::map<std::string, CFiFormatOption> options;

    void startElement(const XMLCh*, const XMLCh*, const XMLCh* qualifiedName,
                      const xercesc::Attributes& attributes) override {
        const std::string element = utf8(qualifiedName);
        ++depth_;
        if (depth_ == 1 && element == "FORMAT_OPTIONS") {
            return;
        }
        const XMLCh* name = attributes.getValue(u"name");
        if (depth_ != 2 || element != "OPTION" || name == nullptr) {
            throw Malformed();
        }
        option_ = {utf8(name), ""};
    }

    void endElement(const XMLCh*, const XMLCh*, const XMLCh*) override {
        if (depth_ == 2) {
            options[option_.name] = option_;
        }
        --depth_;
    }

    void characters(const XMLCh* text, const XMLSize_t length) override {
        const std::string part = utf8(std::u16string(text, length).c_str());
        if (depth_ == 2) {
            option_.value += part;
        } else if (part.find_first_not_of(" \t\r\n") != std::string::npos) {
            throw Malformed();
        }
    }

    void error(const xercesc::SAXParseException&) override { throw Malformed(); }
    void fatalError(const xercesc::SAXParseException&) override { throw Malformed(); }

  private:
    int depth_ = 0;
    CFiFormatOption option_;
};

// Refuses the document type declaration itself, before any of it is read: what is left has no entities but the five of
// XML. A handler is not told of a declaration that is empty.
class Reader : public xercesc::SAX2XMLReaderImpl {
  public:
    Reader(OptionHandler& handler, xercesc::MemoryManager& memory) : SAX2XMLReaderImpl(&memory) {
        setFeature(xercesc::XMLUni::fgSAX2CoreValidation, false);
        setFeature(xercesc::XMLUni::fgXercesLoadExternalDTD, false);
        setFeature(xercesc::XMLUni::fgXercesSchema, false);
        setFeature(xercesc::XMLUni::fgXercesLoadSchema, false);
        setContentHandler(&handler);
        setLexicalHandler(&handler);
        setErrorHandler(&handler);
    }
    void doctypeDecl(const xercesc::DTDElementDecl&, const XMLCh*, const XMLCh*, bool, bool) override {
        throw Malformed();
    }
};

// Once for the process and never undone: the parser's own count of users is not safe among threads. When the library is
// loaded, because a start that runs out of memory half-way leaves a parser that ends the process when it is used.
bool startParser() noexcept {
    try {
        xercesc::XMLPlatformUtils::Initialize();
        return true;
    } catch (...) {
        return false;
    }
}

const bool isParserStarted = startParser();

}  // namespace

std::map<std::string, CFiFormatOption> readFormatOptions(std::string_view text) {
    if (!isParserStarted) {
        throw std::bad_alloc();
    }
    try {
        ParserMemory memory;
        OptionHandler handler;
        Reader reader(handler, memory);
        const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(),
                                                "format options", false, &memory);
        reader.parse(source);
        return std::move(handler.options);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const xercesc::OutOfMemoryException&) {
        throw std::bad_alloc();
    } catch (...) {
        return {};
    }
}

}  // namespace znfi_runtime
