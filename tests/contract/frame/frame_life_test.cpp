// The life of a provider in the frame: what init wires, what fini takes apart and in which order, what outlives it.
#include <algorithm>
#include <stdexcept>

#include "cfierrormanager.h"
#include "cfimessagecatalog.h"
#include "cfiplugincontext.h"
#include "cfiprivatedatafactory.h"
#include "cfitracelog.h"
#include "frame/frame_fixture.h"

namespace {

using namespace frame;

template <typename T>
CFiSmartPtr<T> one() {
    return CFiContextSingleton<T, FI_PLUGIN_NAME>::instance(false);
}

// What is gone, in order. The trace log has nobody to say so: its count tells whether its singleton still holds it.
struct Going {
    CFiSmartPtr<CFiTraceLog> log = one<CFiTraceLog>();
    Calls gone;
    void say(const std::string& what) {
        constexpr int kScopeAndTest = 2;
        const bool isLogGone = std::find(gone.begin(), gone.end(), "trace log") != gone.end();
        if (!isLogGone && log->getCount() == kScopeAndTest) {
            gone.emplace_back("trace log");
        }
        gone.push_back(what);
    }
};

class GoingCatalogs : public CFiMessageCatalogFactory {
  public:
    explicit GoingCatalogs(Going& going) : going_(going) {}
    ~GoingCatalogs() override { going_.say("catalogues"); }
    std::string getDefaultLocale() const override { return "root"; }
    CFiSmartPtr<CFiMessageCatalog> createCatalog(const std::string&) const override { return {}; }

  private:
    Going& going_;
};

class GoingHandler : public CFiErrorHandlerBase {
  public:
    explicit GoingHandler(Going& going) : going_(going) {}
    GoingHandler(const GoingHandler&) = delete;
    GoingHandler& operator=(const GoingHandler&) = delete;
    ~GoingHandler() override { going_.say("errors"); }
    int handleMessage(const CFiSmartPtr<CFiMessage>&) override { return 0; }
    int handleMessage(const std::string&, zfi_eseverity) override { return 0; }

  private:
    Going& going_;
};

class GoingData : public CFiPrivateDataConcreteFactory<CFiPrivateData> {
  public:
    explicit GoingData(Going& going) : going_(going) {}
    ~GoingData() override { going_.say("private data"); }

  private:
    Going& going_;
};

TEST_F(Frame, fini_calls_the_method_and_takes_the_services_apart_in_order) {
    CFiPluginBase::isShuttingDown(false);
    Going going;
    one<CFiMessageCatalogManager>()->registerFactory(makeCounted<GoingCatalogs>(going));
    one<CFiErrorManager>()->registerHandler(new GoingHandler(going));
    one<CFiPrivateDataManager>()->registerFactory(makeCounted<GoingData>(going));
    probe_fi_pgn_fini();
    EXPECT_EQ(calls(), (Calls{"fini(shutting down)"}));
    EXPECT_EQ(going.gone, (Calls{"catalogues", "trace log", "errors", "private data"}));
}

TEST_F(Frame, sessions_outlive_fini) {
    ASSERT_EQ(probe_fi_pgn_preselect(nullptr, session(), list_, 2), ZFI_OK);
    probe_fi_pgn_fini();
    EXPECT_EQ(nodesInSession(), 2U);
}

TEST_F(Frame, before_init_a_plug_in_has_neither_name_nor_services) {
    ASSERT_EQ(probe_fi_pgn_pre_prepare(&domains_[0]), ZFI_OK);
    EXPECT_EQ(Probe::instance().providerName, "");
    EXPECT_EQ(Probe::instance().fimName, "");
    EXPECT_EQ(Probe::instance().messageIndexOffset, 6000);
    EXPECT_FALSE(Probe::instance().isWired);
}

TEST_F(Frame, init_names_the_plug_in_and_registers_its_services) {
    zfi_version version{};
    ASSERT_EQ(probe_fi_pgn_init(nullptr, &version, "fim"), ZFI_OK);
    ASSERT_EQ(probe_fi_pgn_pre_prepare(&domains_[0]), ZFI_OK);
    EXPECT_EQ(Probe::instance().providerName, "probe");
    EXPECT_EQ(Probe::instance().fimName, "fim");
    EXPECT_EQ(Probe::instance().messageIndexOffset, 6000);
    EXPECT_TRUE(Probe::instance().isWired);
}

TEST_F(Frame, an_exception_drops_the_references_of_the_entry_point) {
    const auto plugin = one<ProbePlugin>();
    const auto log = one<CFiTraceLog>();
    Probe::instance().raises = true;
    EXPECT_THROW(probe_fi_pgn_select(&splits_[0], session(), nullptr, 0), std::logic_error);
    EXPECT_EQ(plugin->getCount(), 2) << "the singleton's and the test's";
    EXPECT_EQ(log->getCount(), 2);
}

TEST(FrameNames, are_the_providers_in_all_three_forms) {
    EXPECT_EQ(cfi_pgn_name_str, "probe");
    EXPECT_EQ(cfi_pgn_name_wstr, L"probe");
    EXPECT_STREQ(cfi_pgn_name_tstr.c_str(), "probe");
}

}  // namespace
