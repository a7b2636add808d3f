#include "tests/harness/console_texts.h"

#include "tests/harness/TempDir.h"

namespace {

std::string Menu(const std::string& state)
{
    std::string text = ReadWholeFile(CONSOLE_TEXTS "/menu.txt");
    return text.replace(text.find("{1}"), 3, state);
}

}  // namespace

std::string SubscribedMenu() { return Menu("subscribed"); }
std::string UnsubscribedMenu() { return Menu("unsubscribed"); }
