// Message texts by id and locale.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "cfimessage.h"
#include "cfistring.h"

// The texts of one locale.
class ZNFI_API CFiMessageCatalog : public CFiRefCount {
  public:
    ~CFiMessageCatalog() override;
    // The formatted text; a message that the catalogue does not hold gives its id and arguments. Never empty, never
    // throws.
    virtual std::string format(const CFiMessage& message) const = 0;
};

class ZNFI_API CFiMessageCatalogFactory : public CFiRefCount {
  public:
    ~CFiMessageCatalogFactory() override;
    virtual std::string getDefaultLocale() const = 0;
    // The catalogue of a locale, with the fallback of that locale; never null.
    virtual CFiSmartPtr<CFiMessageCatalog> createCatalog(const std::string& locale) const = 0;
};

// Catalogues from the ICU resource bundles inside the runtime.
class ZNFI_API CFiIcuMessageCatalogFactory : public CFiMessageCatalogFactory {
  public:
    CFiIcuMessageCatalogFactory(std::string defaultLocale, zfi_tstring pluginName);
    ~CFiIcuMessageCatalogFactory() override;
    std::string getDefaultLocale() const override;
    CFiSmartPtr<CFiMessageCatalog> createCatalog(const std::string& locale) const override;
    const zfi_tstring& getPluginName() const { return pluginName_; }

  private:
    std::string defaultLocale_;
    zfi_tstring pluginName_;
};

// One per plug-in. Any thread may ask for a text.
class ZNFI_API CFiMessageCatalogManager : public CFiRefCount {
  public:
    CFiMessageCatalogManager();
    ~CFiMessageCatalogManager() override;

    // A new factory replaces the old one; catalogues already made are dropped.
    void registerFactory(const CFiSmartPtr<CFiMessageCatalogFactory>& factory);
    void setNativeLanguage(const std::string& language);
    std::string getNativeLanguage() const;
    // The text in that locale; "" is the default locale. Without a factory: the id and the arguments.
    std::string getLocalizedMessage(const CFiMessage& message, const std::string& locale);

  private:
    mutable std::mutex mutex_;
    CFiSmartPtr<CFiMessageCatalogFactory> factory_;
    std::map<std::string, CFiSmartPtr<CFiMessageCatalog>> catalogs_;
    std::string nativeLanguage_;
};

// The text of a status code in a locale ("" is the default): what errmsg answers. Static storage; never null or empty.
ZNFI_API const char* znfi_status_text(int code, const char* locale);
