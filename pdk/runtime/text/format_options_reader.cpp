#include "text/format_options_reader.h"

#include <memory>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

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

    // With the declaration refused there are no entities but the five of XML itself.
    void startDTD(const XMLCh*, const XMLCh*, const XMLCh*) override { throw Malformed(); }
    xercesc::InputSource* resolveEntity(const XMLCh*, const XMLCh*) override { throw Malformed(); }

    void error(const xercesc::SAXParseException&) override { throw Malformed(); }
    void fatalError(const xercesc::SAXParseException&) override { throw Malformed(); }

  private:
    int depth_ = 0;
    CFiFormatOption option_;
};

// Once for the process and never undone: the parser's own count of users is not safe among threads.
void startParser() {
    static const bool started = [] {
        xercesc::XMLPlatformUtils::Initialize();
        return true;
    }();
    static_cast<void>(started);
}

std::unique_ptr<xercesc::SAX2XMLReader> makeReader(OptionHandler& handler) {
    std::unique_ptr<xercesc::SAX2XMLReader> reader(xercesc::XMLReaderFactory::createXMLReader());
    reader->setFeature(xercesc::XMLUni::fgSAX2CoreValidation, false);
    reader->setFeature(xercesc::XMLUni::fgXercesLoadExternalDTD, false);
    reader->setFeature(xercesc::XMLUni::fgXercesLoadSchema, false);
    reader->setContentHandler(&handler);
    reader->setLexicalHandler(&handler);
    reader->setEntityResolver(&handler);
    reader->setErrorHandler(&handler);
    return reader;
}

}  // namespace

std::map<std::string, CFiFormatOption> readFormatOptions(std::string_view text) noexcept {
    try {
        startParser();
        OptionHandler handler;
        const auto reader = makeReader(handler);
        const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(),
                                                "format options");
        reader->parse(source);
        return std::move(handler.options);
    } catch (...) {
        return {};
    }
}

}  // namespace znfi_runtime
