#include <utility>

#include "cfimessagecatalog.h"
#include "messages/bundle_text.h"
#include "messages/message_text.h"

namespace {

constexpr size_t kMaxCatalogs = 64;  // locales come from callers: the table must not grow with them

class BundleCatalog : public CFiMessageCatalog {
  public:
    explicit BundleCatalog(std::string bundle) : bundle_(std::move(bundle)) {}

    std::string format(const CFiMessage& message) const override {
        using namespace znfi_runtime;
        std::vector<icu::UnicodeString> arguments;
        for (const icu::Formattable& argument : message.getArguments()) {
            arguments.push_back(argumentText(argument));
        }
        const auto text = bundleText(Table::kMessages, bundle_, message.getMessageId(), arguments);
        return text ? *text : idAndArguments(message);
    }

  private:
    std::string bundle_;
};

}  // namespace

CFiMessageCatalog::~CFiMessageCatalog() = default;

CFiMessageCatalogFactory::~CFiMessageCatalogFactory() = default;

CFiIcuMessageCatalogFactory::CFiIcuMessageCatalogFactory(std::string defaultLocale, zfi_tstring pluginName)
    : defaultLocale_(std::move(defaultLocale)), pluginName_(std::move(pluginName)) {}

CFiIcuMessageCatalogFactory::~CFiIcuMessageCatalogFactory() = default;

std::string CFiIcuMessageCatalogFactory::getDefaultLocale() const {
    return defaultLocale_;
}

CFiSmartPtr<CFiMessageCatalog> CFiIcuMessageCatalogFactory::createCatalog(const std::string& locale) const {
    return makeCounted<BundleCatalog>(znfi_runtime::bundleOf(locale));
}

CFiMessageCatalogManager::CFiMessageCatalogManager() = default;

CFiMessageCatalogManager::~CFiMessageCatalogManager() = default;

void CFiMessageCatalogManager::registerFactory(const CFiSmartPtr<CFiMessageCatalogFactory>& factory) {
    const std::lock_guard lock(mutex_);
    factory_ = factory;
    catalogs_.clear();
}

void CFiMessageCatalogManager::setNativeLanguage(const std::string& language) {
    const std::lock_guard lock(mutex_);
    nativeLanguage_ = language;
}

std::string CFiMessageCatalogManager::getNativeLanguage() const {
    const std::lock_guard lock(mutex_);
    return nativeLanguage_;
}

std::string CFiMessageCatalogManager::getLocalizedMessage(const CFiMessage& message, const std::string& locale) {
    CFiSmartPtr<CFiMessageCatalog> catalog;
    {
        const std::lock_guard lock(mutex_);
        if (factory_) {
            if (catalogs_.size() >= kMaxCatalogs) {
                catalogs_.clear();
            }
            CFiSmartPtr<CFiMessageCatalog>& known = catalogs_[locale];
            if (!known) {
                known = factory_->createCatalog(locale.empty() ? factory_->getDefaultLocale() : locale);
            }
            catalog = known;
        }
    }
    return catalog ? catalog->format(message) : znfi_runtime::idAndArguments(message);
}
