#pragma once
// In-memory stand-ins for the platform. The notification center records what the core asked of it
// in a log that other fakes may share, so tests can check the order of effects across services.
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Views/MenuModel.h"
#include "Views/PreferencesWindowModel.h"
#include "platform/Platform.h"

namespace velko::test {

using Log = std::vector<std::string>;

class FakeNotificationCenter : public NotificationCenter {
public:
    explicit FakeNotificationCenter(Log* log = nullptr) : log_(log) {}
    void observe(const std::string& name, Handler handler) override {
        if (log_) log_->push_back("observe " + name);
        handlers_[name].push_back(std::move(handler));
    }
    void post(const std::string& name, const std::string& object) override {
        if (log_) log_->push_back("post " + name);
        posts.push_back({name, object});
    }
    // Delivers as the bus would: to every observer of the name.
    void deliver(const std::string& name, const std::string& object = "") {
        for (auto& h : handlers_[name]) h(object);
    }
    std::vector<std::string> postedObjects(const std::string& name) const {
        std::vector<std::string> out;
        for (const auto& [n, o] : posts)
            if (n == name) out.push_back(o);
        return out;
    }
    std::vector<std::pair<std::string, std::string>> posts;

private:
    Log* log_;
    std::map<std::string, std::vector<Handler>> handlers_;
};

class FakeTrust : public AccessibilityTrust {
public:
    explicit FakeTrust(bool trusted = true) : trusted(trusted) {}
    bool isProcessTrusted() override { return trusted; }
    // While pending, settled waits for answer().
    void whenSettled(std::function<void()> settled) override {
        if (pending)
            waiting.push_back(std::move(settled));
        else
            settled();
    }
    void answer(bool granted) {
        trusted = granted;
        pending = false;
        for (auto& settled : std::exchange(waiting, {})) settled();
    }
    bool trusted;
    bool pending = false;
    std::vector<std::function<void()>> waiting;
};

class FakeKeyboard : public SyntheticKeyboard {
public:
    struct Event {
        KeyCode keyCode;
        EventFlags flags;
        bool down;
        bool operator==(const Event&) const = default;
    };
    bool hasFrontmostApplication() override { return frontmost; }
    bool postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) override {
        if (failPosting) return false;
        events.push_back({keyCode, flags, keyDown});
        return true;
    }
    bool frontmost = true;
    bool failPosting = false;
    std::vector<Event> events;
};

class FakeSuite : public DefaultsSuite {
public:
    explicit FakeSuite(std::map<std::string, Bytes> values) : values_(std::move(values)) {}
    std::optional<Bytes> data(const std::string& key) override {
        const auto it = values_.find(key);
        if (it == values_.end()) return std::nullopt;
        return it->second;
    }

private:
    std::map<std::string, Bytes> values_;
};

class FakeDefaults : public UserDefaults {
public:
    std::unique_ptr<DefaultsSuite> openSuite(const std::string&) override {
        if (refuseSuite) return nullptr;
        return std::make_unique<FakeSuite>(shared);
    }
    bool setBool(const std::string& key, bool value) override {
        own[key] = value;
        return true;
    }
    void setJson(const std::string& key, const std::string& json) { shared[key] = Bytes(json.begin(), json.end()); }

    bool refuseSuite = false;
    std::map<std::string, Bytes> shared;
    std::map<std::string, bool> own;
};

class FakeFileSystem : public FileSystem {
public:
    std::string homeDirectory() override { return "/home/ada"; }
    bool exists(const std::string& path) override { return paths.count(path) > 0 || directories.count(path) > 0; }
    bool createDirectories(const std::string& path) override {
        created.push_back(path);
        if (failCreate) return false;
        directories.insert(path);
        return true;
    }
    std::set<std::string> paths;
    std::set<std::string> directories;
    std::vector<std::string> created;
    bool failCreate = false;
};

class FakeWorkspace : public Workspace {
public:
    bool openURL(const std::string& url) override {
        opened.push_back(url);
        return true;
    }
    std::string accessibilitySettingsAddress() override { return "file:///usr/share/velko-helper/input-access.html"; }
    std::string websiteAddress() override { return "https://velko.app"; }
    std::optional<std::string> bundleInfoString(const std::string& key) override {
        if (key == "CFBundleShortVersionString") return version;
        return std::nullopt;
    }
    std::optional<std::string> version = "2.4.1";
    std::vector<std::string> opened;
};

class FakeApplication : public Application {
public:
    void terminate() override { ++terminated; }
    void startUpdater() override {}
    int terminated = 0;
};

class FakeStatusBar : public StatusBar {
public:
    bool createItem(const std::string&, const std::string&, int) override { return true; }
    void setMenu(const MenuModel& menu, MenuTarget& target) override {
        menus.push_back(menu);
        lastTarget = &target;
    }
    std::vector<MenuModel> menus;
    MenuTarget* lastTarget = nullptr;
};

class FakeFilteringKeyTap : public FilteringKeyTap {
public:
    bool create(const std::vector<Combination>& wanted, Callback callback) override {
        if (fail) return false;
        combinations = wanted;
        callback_ = std::move(callback);
        return true;
    }
    // A key-down reaching the tap: what the core decided, or pass when nothing is installed.
    Verdict press(KeyCode keyCode, EventFlags flags) { return callback_ ? callback_(keyCode, flags) : Verdict::pass; }

    bool fail = false;
    std::vector<Combination> combinations;

private:
    Callback callback_;
};

// Windows that only record what was asked of them; a test closes one by clearing `visible`.
class FakeWindowSystem : public WindowSystem {
public:
    struct State {
        PreferencesWindowModel model;
        ButtonTarget* target = nullptr;
        bool visible = false;
        int centred = 0;
        int broughtForward = 0;
        bool destroyed = false;
    };
    class FakeWindow : public Window {
    public:
        explicit FakeWindow(std::shared_ptr<State> state) : state_(std::move(state)) {}
        ~FakeWindow() override { state_->destroyed = true; }
        bool isVisible() override { return state_->visible; }
        void center() override { ++state_->centred; }
        void orderFrontRegardless() override {
            ++state_->broughtForward;
            state_->visible = true;
        }

    private:
        std::shared_ptr<State> state_;
    };

    std::unique_ptr<Window> makePreferencesWindow(const PreferencesWindowModel& model, ButtonTarget& target) override {
        if (noScreen) return nullptr;
        windows.push_back(std::make_shared<State>(State{model, &target}));
        return std::make_unique<FakeWindow>(windows.back());
    }
    bool noScreen = false;
    std::vector<std::shared_ptr<State>> windows;
};

}  // namespace velko::test

namespace velko::test {

// A focus a test sets; each set() tells the listener, as a backend does on the main thread.
class FakeFocusTracker : public FocusTracker {
public:
    std::optional<Focus> focus() const override { return current; }
    void onChange(std::function<void()> changed) override { changed_ = std::move(changed); }
    void set(std::optional<Focus> focus) {
        current = std::move(focus);
        if (changed_) changed_();
    }
    std::optional<Focus> current;

private:
    std::function<void()> changed_;
};

}  // namespace velko::test
