#include "tests/editing/random/session_script.h"

#include "tests/support/TempDir.h"

#include <filesystem>
#include <random>
#include <vector>

namespace {

using Words = std::vector<std::string>;

class ScriptWriter {
public:
    explicit ScriptWriter(unsigned seed) : chance(seed) {}

    SessionScript Write()
    {
        const ServiceKind service = OneOf<ServiceKind>(
            {ServiceKind::Willing, ServiceKind::Willing, ServiceKind::Willing, ServiceKind::Willing,
             ServiceKind::Willing, ServiceKind::Missing, ServiceKind::RefusesSubscriptions,
             ServiceKind::RefusesRefresh, ServiceKind::RefusesSensors, ServiceKind::HangsUp});
        // Most sessions do without notifications, so that all of their output can be told.
        subscribes = OneIn(3) || service == ServiceKind::RefusesSubscriptions;
        careless = OneIn(2);
        for (unsigned commands = Below(12); commands > 0; --commands) {
            Command();
        }
        End();
        return {keys, service};
    }

private:
    // Not the standard distributions, which differ between libraries: a seed is the same
    // everywhere.
    unsigned Below(unsigned count) { return static_cast<unsigned>(chance() % count); }
    bool OneIn(unsigned count) { return Below(count) == 0; }

    template <typename T>
    T OneOf(const std::vector<T>& choices)
    {
        return choices[Below(static_cast<unsigned>(choices.size()))];
    }

    /// Types \p word and what separates it from the next; a careless engineer slips now and then.
    void Type(const std::string& word)
    {
        const bool slips = careless && OneIn(30);
        const unsigned slip = slips ? Below(4) : 0;
        if (slips && slip == 0) {
            return;
        }
        keys += slips && slip == 1 ? Junk() : word;
        if (slips && slip == 2) {
            return;
        }
        keys += slips && slip == 3 ? " " + word : "";
        keys +=
            OneOf<std::string>({"\n", "\n", "\n", "\n", "\n", "\n", " ", "\t", "\r\n", "\n \n"});
    }

    /// Bytes of any kind, except k, which would end the service in the middle of a session, and
    /// what could make the name of an existing file.
    std::string Junk()
    {
        std::string junk;
        for (unsigned length = 1 + Below(6); length > 0; --length) {
            const char c = OneIn(2) ? static_cast<char>('!' + Below(94))
                                    : static_cast<char>(static_cast<unsigned char>(Below(256)));
            junk += c == 'k' || c == '.' || c == '/' ? '#' : c;
        }
        return junk;
    }

    std::string Number(const Words& usual)
    {
        static const Words odd{"-1", "+5", "007", "256", "4294967295", "-4294967290"};
        static const Words bad{
            "4294967296", "99999999999999999999", "abc", "-", "0x10", "1e5", "5.7", "3,4", "+-3"};
        if (careless && OneIn(25)) {
            return OneOf(bad);
        }
        return OneIn(10) ? OneOf(odd) : OneOf(usual);
    }

    std::string Region()
    {
        return Number({"1", "2", "3", "7", "13", "14", "15", "0", "259", "300"});
    }

    std::string Answer()
    {
        return OneOf<std::string>({"t", "t", "f", "f", "true", "false", "Yes", "no", "ON", "off",
                                   "1", "0", "y", "maybe"});
    }

    void Command()
    {
        switch (Below(subscribes ? 17 : 14)) {
        case 0:
        case 1: RegionData(); break;
        case 2: Visibility(); break;
        case 3:
        case 4:
        case 5: Palette(); break;
        case 6: Invert(); break;
        case 7:
        case 8: DynamicTest(); break;
        case 9:
        case 10: SensorTest(); break;
        case 11: Type(OneOf<std::string>({"s", "c", "r", "2"})); break;
        case 12: Type(OneOf<std::string>({"9", "0", "w", "X", "S", "z", "%"})); break;
        case 13: Type("s"); break;
        default: Type("1");
        }
    }

    void RegionData()
    {
        Type("3");
        Type(Region());
        Type(OneOf<std::string>({"region", "region", "small", "small", "empty", "table", "folder",
                                 "none", "table.out"}));
        Type(Number({"0", "1", "4", "5", "6", "1023", "1024", "1025", "4000", "4001", "65536"}));
    }

    void Visibility()
    {
        Type("4");
        Type(Region());
        Type(Answer());
    }

    void Palette()
    {
        Type("5");
        Type(Region());
        Type(OneOf<std::string>({"table", "table", "table", "longer", "shorter", "empty", "folder",
                                 "none", "table.out", "table.out.out", "barred", "full"}));
        const bool isRgb = OneIn(2);
        Type(isRgb ? OneOf<std::string>({"t", "yes", "1"}) : OneOf<std::string>({"f", "no", "2"}));
        if (isRgb) {
            const bool isTransparent = OneIn(2);
            Type(isTransparent ? "t" : "f");
            if (isTransparent) {
                Type(Number({"0", "1", "17", "254", "255", "256", "1000"}));
            }
        } else {
            Type(Number({"0", "1", "9", "31", "255", "256", "300"}));
            Type(Answer());
        }
    }

    void Invert()
    {
        Type("6");
        Type(Region());
    }

    void DynamicTest()
    {
        Type("7");
        Type(Region());
        for (unsigned count = Below(7); count > 0; --count) {
            const std::string key =
                OneOf<std::string>({"1", "2", "3", "3", "4", "4", "5", "s", "s", "z", "S", "9"});
            Type(key);
            if (key == "1" || key == "2") {
                Type(Number({"0", "1", "8", "100", "250", "255", "264"}));
            } else if (key == "3") {
                Type(Number({"80", "640", "641", "100", "0", "320", "7", "33", "1000000"}));
            } else if (key == "4") {
                Type(Number({"12", "48", "49", "10", "0", "24", "5", "47"}));
            }
        }
        Type(OneOf<std::string>({"x", "x", "q"}));
    }

    void SensorTest()
    {
        Type("8");
        for (unsigned count = Below(8); count > 0; --count) {
            Type(OneOf<std::string>(
                {"1", "2", "3", "4", "5", "6", "7", "8", "9", "0", "n", "m", "c", "s", "M", "%"}));
        }
        Type(OneOf<std::string>({"x", "x", "q"}));
    }

    void End()
    {
        switch (Below(10)) {
        case 0:
        case 1: break;  // the input ends behind the last command,
        case 2: keys.resize(keys.size() * Below(8) / 8); break;  // or anywhere,
        case 3: keys += Junk(); break;                           // or behind something odd
        case 4: keys += "k\nx\n"; break;
        default: keys += "x\nx\nq\n";  // from however deep
        }
    }

    std::mt19937 chance;
    std::string keys;
    bool subscribes = false;
    bool careless = false;
};

}  // namespace

SessionScript MakeScript(unsigned seed) { return ScriptWriter(seed).Write(); }

ModelFiles PrepareFiles(const std::string& folder)
{
    const auto bytes = [](unsigned count) {
        std::string made;
        for (unsigned i = 0; i < count; ++i) {
            made += static_cast<char>(static_cast<unsigned char>((i * 73 + i / 7 * 29) % 256));
        }
        return made;
    };
    ModelFiles files;
    const std::vector<std::pair<std::string, unsigned>> sizes{
        {"region", 4000}, {"small", 5},      {"empty", 0},     {"table", 1024},
        {"longer", 1025}, {"shorter", 1023}, {"barred", 1024}, {"full", 1024}};
    for (const auto& [name, size] : sizes) {
        WriteWholeFile(folder + "/" + name, bytes(size));
        files.contents[name] = bytes(size);
    }
    for (const char* name : {"folder", "barred.out"}) {
        std::filesystem::create_directory(folder + "/" + name);
        files.directories.insert(name);
    }
    std::filesystem::create_symlink("/dev/full", folder + "/full.out");
    files.fullDisks.insert("full.out");
    return files;
}
