#include "tests/editing/random/ConsoleModel.h"

#include "tests/editing/expected_bytes.h"
#include "tests/editing/journal_lines.h"
#include "tests/editing/log_texts.h"
#include "tests/editing/sub_console_texts.h"
#include "tests/support/console_texts.h"

#include <cstdlib>

namespace {

bool MeansYes(const std::string& word)
{
    std::string lower;
    for (const char c : word) {
        lower += c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    }
    for (const char* yes : {"t", "true", "y", "yes", "on", "1"}) {
        if (lower == yes) {
            return true;
        }
    }
    return false;
}

/// A path as the log shows it: control bytes spelled out.
std::string Spelled(const std::string& path)
{
    std::string spelled;
    for (const char c : path) {
        const unsigned byte = static_cast<unsigned char>(c);
        if (byte < 32 || (byte >= 127 && byte < 160)) {
            spelled +=
                std::string("\\x") + "0123456789abcdef"[byte / 16] + "0123456789abcdef"[byte % 16];
        } else {
            spelled += c;
        }
    }
    return spelled;
}

/// Whether a buffer of \p size bytes can be had on this machine.
bool CanHave(unsigned size)
{
    if (size < 1024u * 1024 * 1024) {
        return true;
    }
    void* volatile memory = std::malloc(size);
    std::free(memory);
    return memory != nullptr;
}

}  // namespace

ConsoleModel::ConsoleModel(const std::string& keys, ServiceKind kind, const ModelFiles& files)
    : input(keys), service(kind)
{
    session.files = files;
}

ModelSession ConsoleModel::Play(std::size_t more)
{
    furtherBytes = more;
    try {
        MainMenu();
        session.ended = true;
    } catch (const Enough&) {
    }
    return session;
}

void ConsoleModel::MainMenu()
{
    char key = 0;
    do {
        Print(subscribed ? SubscribedMenu() : UnsubscribedMenu());
        Key(key);
    } while (MainKey(key));
}

bool ConsoleModel::MainKey(char key)
{
    switch (key) {
    case '1': Subscribe(); break;
    case '2': Unsubscribe(); break;
    case '3': RegionData(); break;
    case '4': Visibility(); break;
    case '5': Palette(); break;
    case '6': Invert(); break;
    case '7': DynamicTest(); break;
    case '8': SensorTest(); break;
    case 'r': Refresh(); break;
    case 's': Print(EmptyRegionReport()); break;
    case 'c': break;
    case 'k': Quit(); break;
    case 'x':
    case 'q': return false;
    default: Discard();
    }
    return true;
}

void ConsoleModel::Subscribe()
{
    const auto subscribe = [this](const std::string& number, const std::string& item) {
        const bool accepted = Request(
            R"({"request":"Subscribe","subscription":)" + number + R"(,"itemId":)" + item + '}',
            ServiceKind::RefusesSubscriptions);
        session.isNotified = session.isNotified || accepted;
        Print(accepted ? "\n" : "  ERROR");
    };
    Print("Subscribing...\nSubscribing for RegionData");
    for (const char* number : {"2", "3", "4", "12"}) {
        subscribe(number, "15129");
    }
    Print("Subscribing for RegionVisibility");
    subscribe("6", "15132");
    Print("Subscribing for PaletteUpdate");
    subscribe("10", "15133");
    subscribed = true;
}

void ConsoleModel::Unsubscribe()
{
    subscribed = false;
    Print("Unsubscribing...\n");
    for (const char* number : {"1", "6", "10"}) {
        Request(std::string(R"({"request":"Unsubscribe","subscription":)") + number + '}',
                ServiceKind::Missing);
    }
}

void ConsoleModel::RegionData()
{
    unsigned region = 0;
    unsigned size = 0;
    Print("Enter region ID: ");
    Number(region);
    Print("Enter filename:  ");
    const std::string path = Word();
    Print("Enter file size: ");
    Number(size);
    Discard();
    Request(RegionDataLine(region % 256, ReadFile(path, size)), ServiceKind::Missing);
}

void ConsoleModel::Visibility()
{
    unsigned region = 0;
    Print("Enter region ID: ");
    Number(region);
    Print("Enter region visibility (t/f): ");
    const std::string answer = Word();
    Discard();
    Request(VisibilityLine(region % 256, MeansYes(answer)), ServiceKind::Missing);
}

void ConsoleModel::Palette()
{
    unsigned region = 0;
    unsigned background = 1;
    bool fill = false;
    Print("Enter region ID:   ");
    Number(region);
    Print("Enter filename:    ");
    const std::string path = Word();
    Print("RGB palette (t/f): ");
    const std::string isRgb = Word();
    std::string table = ReadFile(path, 1024);
    if (MeansYes(isRgb)) {
        table = RgbPalette(path, table);
    } else {
        background = 0;
        Print("Background code:   ");
        Number(background);
        Print("Region Fill (t/f): ");
        fill = MeansYes(Word());
    }
    Discard();
    Request(PaletteLine(region % 256, table, background % 256, fill), ServiceKind::Missing);
}

std::string ConsoleModel::RgbPalette(const std::string& path, std::string table)
{
    table = ConvertedPalette(table);
    Print("Converting palette of size " + std::to_string(table.size()) + "...Done\n");
    Print("\nTransparent pixel? (t/f): ");
    if (MeansYes(Word())) {
        unsigned value = 0;
        Print("Transparent pixel value:   ");
        Number(value);
        if (value > 255) {
            Print("\nERROR: pixel value out of range\n\n");
        } else if (!table.empty()) {
            table[value * 4] = 0;
        }
    }
    WriteFile(path + ".out", table);
    return table;
}

void ConsoleModel::Invert()
{
    unsigned region = 0;
    Print("Enter region ID: ");
    Number(region);
    Discard();
    Request(R"({"request":"InvertRegionData","regionId":)" + std::to_string(region) + '}',
            ServiceKind::Missing);
}

void ConsoleModel::Refresh()
{
    Print("Sending RefreshRegions\n");
    Print(Request(R"({"request":"RefreshRegions"})", ServiceKind::RefusesRefresh) ? "\n"
                                                                                  : "  ERROR");
}

void ConsoleModel::DynamicTest()
{
    unsigned region = 0;
    unsigned start = 0;
    unsigned increment = 8;
    unsigned width = 80;
    unsigned height = 12;
    unsigned typedStart = 0;
    unsigned typedIncrement = 0;
    bool shapesOn = false;
    std::string bytes;
    char key = 0;
    Print("Enter region ID: ");
    Number(region);
    for (;;) {
        const PatternPass pass = PaintPattern(bytes, start, increment, width, height);
        bytes = pass.bytes;
        Print(pass.text);
        Request(RegionDataLine(region % 256, bytes), ServiceKind::Missing);
        Print(DynamicTestMenu(start, increment, width, height, shapesOn));
        Key(key);
        switch (key) {
        case '1':
            Print("Enter pixel start value: ");
            Number(typedStart);
            start = typedStart % 256;
            break;
        case '2':
            Print("Enter pixel increment value: ");
            Number(typedIncrement);
            increment = typedIncrement % 256;
            break;
        case '3':
            Print("Enter segment width: ");
            Number(width);
            break;
        case '4':
            Print("Enter segment height: ");
            Number(height);
            break;
        case '5': shapesOn = !shapesOn; break;
        case 's': start = (start + 1) % 256; break;
        case 'x':
        case 'q': return;
        default: Discard();
        }
    }
}

void ConsoleModel::SensorTest()
{
    const std::string keys = "1234567890nm";
    const unsigned sensors[] = {0, 5, 1, 2, 3, 4};
    unsigned sensor = 0;
    bool on = false;
    char key = 0;
    do {
        Print(SensorTestMenu());
        Key(key);
        const std::size_t choice = keys.find(key);
        if (choice != std::string::npos) {
            sensor = sensors[choice / 2];
            on = choice % 2 == 0;
        } else if (key == 's') {
            Print(EmptyRegionReport());
        } else if (key != 'c' && key != 'x' && key != 'q') {
            Discard();
        }
        if (Request(SensorLine(sensor, on), ServiceKind::RefusesSensors)) {
            Print("Sent sensor =" + std::to_string(sensor) + (on ? "  ON\n" : "  OFF\n"));
        } else {
            Complain("Error Sending sensor\n");
        }
    } while (key != 'x' && key != 'q');
}

void ConsoleModel::Quit()
{
    Complain("Shut down Requested\n");
    if (service == ServiceKind::Missing) {
        Complain("Error running quit\n");
    } else {
        session.requests.push_back({R"({"request":"Quit"})", session.output.size()});
        Print("Quit issued\n");
    }
}

std::string ConsoleModel::ReadFile(const std::string& path, unsigned size)
{
    const std::string opened = path.c_str();  // a name ends at its first NUL
    const auto file = session.files.contents.find(opened);
    if (file == session.files.contents.end() && session.files.directories.count(opened) == 0) {
        Log(NotOpened(Spelled(path)));
        return "";
    }
    Log(Opened(Spelled(path)));
    std::string bytes = file != session.files.contents.end() ? file->second : "";
    if (bytes.size() < size) {
        const std::size_t count = CanHave(size) ? bytes.size() : 0;
        Log(ShortRead(static_cast<unsigned>(count), size));
        return "";
    }
    return bytes.substr(0, size);
}

void ConsoleModel::WriteFile(const std::string& path, const std::string& bytes)
{
    if (bytes.empty()) {
        Log(ShortWrite(0));
        return;
    }
    const std::string opened = path.c_str();
    if (session.files.directories.count(opened) != 0) {
        Log(OutputNotOpened(Spelled(path)));
        return;
    }
    Log(OutputOpened(Spelled(path)));
    if (session.files.fullDisks.count(opened) != 0) {
        Log(ShortWrite(0));
    } else {
        session.files.contents[opened] = bytes;
    }
}

void ConsoleModel::Key(char& key)
{
    input >> key;
    NoteReading();
}

void ConsoleModel::Number(unsigned& number)
{
    input >> number;
    NoteReading();
}

std::string ConsoleModel::Word()
{
    std::string word;
    input >> word;
    NoteReading();
    return word;
}

void ConsoleModel::Discard() { input.ignore(); }

void ConsoleModel::NoteReading()
{
    if (session.repeatsFrom == 0 && input.fail()) {
        session.repeatsFrom = session.output.size();
        limit = session.repeatsFrom + furtherBytes;
    }
}

void ConsoleModel::Print(const std::string& text)
{
    session.output += text;
    if (session.output.size() > limit) {
        throw Enough();
    }
}

void ConsoleModel::Complain(const std::string& line)
{
    session.errors.push_back({line, session.output.size()});
}

bool ConsoleModel::Request(const std::string& line, ServiceKind refuser)
{
    if (service == ServiceKind::Missing) {
        return false;
    }
    session.requests.push_back({line, session.output.size()});
    return service != ServiceKind::HangsUp && service != refuser;
}

void ConsoleModel::Log(const std::string& entry)
{
    session.log.push_back({entry, session.output.size()});
}
