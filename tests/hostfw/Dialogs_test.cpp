// Dialogs_test.cpp - ShowMessage shows a real message box, and the hook that
// tests use to take the message instead.
#include "hostfw/Dialogs.h"

#include "tests/support/MessageBoxWatcher.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct CTaken {
    std::vector<std::string> texts;
    bool take = true;
};

bool Take(const char* text, void* context) {
    auto* taken = static_cast<CTaken*>(context);
    taken->texts.push_back(text);
    return taken->take;
}

TEST(ShowMessage, HookThatTakesTheMessageGetsTheTextAndNoBoxIsShown) {
    CTaken taken;
    const hostfw::ShowMessageHook previous = hostfw::SetShowMessageHook(&Take, &taken);
    vsktest::CMessageBoxWatcher watcher;
    Dialogs::ShowMessage("taken");
    hostfw::SetShowMessageHook(previous, nullptr);
    ASSERT_EQ(taken.texts, std::vector<std::string>{"taken"});
    EXPECT_TRUE(watcher.Boxes().empty());
}

TEST(ShowMessage, SetHookReturnsThePreviousHook) {
    CTaken taken;
    const hostfw::ShowMessageHook original = hostfw::SetShowMessageHook(&Take, &taken);
    EXPECT_EQ(hostfw::SetShowMessageHook(original, nullptr), &Take);
}

TEST(ShowMessage, ShowsARealMessageBoxTitledWithTheProgramName) {
    // "処理中" in code page 932, passed through unchanged.
    const std::string text = "line one\n\n\x8F\x88\x97\x9D\x92\x86";
    CTaken seen;
    seen.take = false;
    const hostfw::ShowMessageHook previous = hostfw::SetShowMessageHook(&Take, &seen);
    std::vector<vsktest::CMessageBoxWatcher::Box> boxes;
    {
        vsktest::CMessageBoxWatcher watcher;
        Dialogs::ShowMessage(System::AnsiString(text.c_str()));
        boxes = watcher.Boxes();
    }
    hostfw::SetShowMessageHook(previous, nullptr);
    EXPECT_EQ(seen.texts, std::vector<std::string>{text}) << "a hook that declines still sees the text";
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].caption, "test_hostfw");
    EXPECT_EQ(boxes[0].text, text);
}

TEST(ShowMessage, EmptyMessageShowsAnEmptyBox) {
    std::vector<vsktest::CMessageBoxWatcher::Box> boxes;
    {
        vsktest::CMessageBoxWatcher watcher;
        Dialogs::ShowMessage(System::AnsiString());
        boxes = watcher.Boxes();
    }
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].text, "");
}

} // namespace
