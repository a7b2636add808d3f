#include "recording/reader.h"
#include "recording/writer.h"
#include "tests/harness/recording_text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using namespace recording;

namespace {

const std::string header =
    R"({"subtitleRecording":1,"writer":"w","service":"s","wallUs":1,"monoUs":5})"
    "\n";
const std::string bitmap =
    R"({"monoUs":6,"wallUs":1,"notification":"RegionData","subscription":4,"regionId":3,)"
    R"("subtitleFormat":2,"size":5,"crc32":"7b35f858","data":"AAECA/8="})"
    "\n";
const std::string visibility =
    R"({"monoUs":6,"wallUs":1,"notification":"RegionVisibility","subscription":6,"regionId":3,)"
    R"("visible":true})"
    "\n";
const std::string palette =
    R"({"monoUs":6,"wallUs":1,"notification":"Palette","subscription":10,"regionId":2,"size":2,)"
    R"("crc32":"2619ef23","data":"EP8=","fill":true,"backgroundCode":31})"
    "\n";
const std::string request =
    R"({"monoUs":6,"wallUs":1,"request":"SetRegionVisibility","client":1,"regionId":3,)"
    R"("visible":false,"result":"ok"})"
    "\n";

struct Reading {
    std::string lines;  ///< the messages that were read, written again
    std::string mistake;
};

Reading Read(const std::string& text, Reader::Start start = Reader::Start::WithHeader,
             std::size_t piece = 1u << 20)
{
    Reading reading;
    reading.mistake = ReadRecording(text, start, piece, [&reading](const AnyLine& line) {
        std::visit([&reading](const auto& message) { AppendLine(reading.lines, message); }, line);
    });
    return reading;
}

std::string Replaced(std::string text, const std::string& old, const std::string& replacement)
{
    EXPECT_NE(text.find(old), std::string::npos) << old;
    return text.replace(text.find(old), old.size(), replacement);
}

/// The error message for a recording whose second line is \p line.
std::string MistakeOf(const std::string& line)
{
    const Reading reading = Read(header + line);
    EXPECT_EQ(reading.lines, header);
    return reading.mistake;
}

/// The error message after a change of a correct line.
std::string MistakeOf(const std::string& line, const std::string& old,
                      const std::string& replacement)
{
    return MistakeOf(Replaced(line, old, replacement));
}

/// The error message \p reason at the field of \p line, the second line, that is its first word.
std::string MistakeAt(const std::string& line, const std::string& reason)
{
    const std::string name = reason.substr(0, reason.find(' '));
    const std::size_t column = line.find('"' + name + '"') + 1;
    EXPECT_GT(column, 0u) << name;
    return "drive:2:" + std::to_string(column) + ": " + reason;
}

TEST(Reader, ReadsTheOutputOfTheWriter)
{
    const std::string all = header + bitmap + visibility + palette + request;
    for (const std::size_t piece : {std::size_t{1}, std::size_t{100}, all.size()}) {
        const Reading reading = Read(all, Reader::Start::WithHeader, piece);
        EXPECT_EQ(reading.lines, all);
        EXPECT_EQ(reading.mistake, "");
    }
}

TEST(Reader, ReadsEachKindOfRequest)
{
    const std::string bytes = "\x01\x02";
    Request written;
    written.client = 3;
    written.data = {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()};
    std::string text = header;
    for (int kind = 0; kind <= static_cast<int>(RequestKind::SetLogLevel); ++kind) {
        written.at.monoUs = 10 + kind;
        written.kind = static_cast<RequestKind>(kind);
        written.regionId = written.kind == RequestKind::InvertRegionData ? 4294967295 : 255;
        written.result = static_cast<Result>(kind % 3);
        AppendLine(text, written);
    }
    const Reading reading = Read(text);
    EXPECT_EQ(reading.mistake, "");
    EXPECT_EQ(reading.lines, text);
}

TEST(Reader, ReadsWhatOtherProgramsMayWrite)
{
    const std::string receivers = Replaced(visibility, "true}", "true,\"receivers\":2}");
    const std::string earlier = Replaced(visibility, "\"wallUs\":1", "\"wallUs\":0");
    const std::string unknown =
        R"({"x":[{"size":1},[],{"a":{"size":"2"}}],"x":null,"y":-1.5e3,)" + visibility.substr(1);
    const std::string disordered =
        " { \"visible\" : true , \"regionId\" : 3, \"subscription\":6,\t\"wallUs\":1,"
        "\"notification\":\"Region\\u0056isibility\",\"mono\\u0055s\":6 }\r\n";
    const Reading reading = Read(header + receivers + earlier + unknown + disordered);
    EXPECT_EQ(reading.mistake, "");
    EXPECT_EQ(reading.lines, header + receivers + earlier + visibility + visibility);
}

void Receive(Reader& reader, const std::string& text)
{
    std::size_t room = 0;
    std::memcpy(reader.Room(room), text.data(), text.size());
    reader.Received(text.size());
}

TEST(Reader, DistinguishesALineWithoutBytes)
{
    Reader reader("journal", Reader::Start::HeaderOptional);
    Receive(reader, Replaced(bitmap, ",\"data\":\"AAECA/8=\"", ""));
    AnyLine line;
    ASSERT_EQ(reader.Next(line), Reader::Found::Line) << reader.Mistake();
    EXPECT_FALSE(std::get<Notification>(line).data.AreThere());
    EXPECT_EQ(std::get<Notification>(line).data.size, 5u);
    EXPECT_EQ(reader.LineNumber(), 1u);
}

TEST(Reader, MayBeginWithoutHeader)
{
    EXPECT_EQ(Read(visibility, Reader::Start::HeaderOptional).lines, visibility);
    EXPECT_EQ(Read(header + visibility, Reader::Start::HeaderOptional).lines, header + visibility);
    EXPECT_EQ(Read("", Reader::Start::HeaderOptional).mistake, "");
    EXPECT_EQ(Read(visibility).mistake,
              "drive:1:1: the first line is not the header of a recording; a journal has none");
    EXPECT_EQ(Read(visibility).lines, "");
}

TEST(Reader, RefusesAnEmptyOrTornRecording)
{
    EXPECT_EQ(Read("").mistake, "drive:1:1: the recording is empty");
    const Reading torn = Read(header + bitmap + visibility.substr(0, 20));
    EXPECT_EQ(torn.lines, header + bitmap);
    EXPECT_EQ(torn.mistake, "drive:3:21: the line has no end; the recording is incomplete");
    EXPECT_EQ(Read(header + visibility.substr(0, visibility.size() - 1)).lines, header);
}

TEST(Reader, RefusesANewerFormatWithAnyFields)
{
    EXPECT_EQ(Read("{\"writer\":{},\"subtitleRecording\":2}\n").mistake,
              "drive:1:14: subtitleRecording 2 is newer than this program; it reads 1");
    EXPECT_EQ(Read(Replaced(header, ":1", ":0")).mistake,
              "drive:1:2: subtitleRecording 0 is not known to this program; it reads 1");
    EXPECT_EQ(Read(Replaced(header, ":1", ":\"1\"")).mistake,
              "drive:1:2: subtitleRecording is not a whole number from 0 to 9007199254740991");
}

TEST(Reader, ShiftsTimesOfAStreamThatRunBackwards)
{
    const auto at = [](const std::string& line, const std::string& us) {
        return Replaced(line, line == header ? "\"monoUs\":5" : "\"monoUs\":6", "\"monoUs\":" + us);
    };
    const auto read = [](const std::string& text) {
        return Read(text, Reader::Start::HeaderOptional).lines;
    };
    const std::string sameClock = visibility + at(header, "9") + at(visibility, "10");
    EXPECT_EQ(read(sameClock), sameClock);
    EXPECT_EQ(read(visibility + at(header, "2") + at(visibility, "4")),
              visibility + at(header, "6") + at(visibility, "8"));
    EXPECT_EQ(read(at(visibility, "8") + visibility + at(visibility, "9")),
              at(visibility, "8") + at(visibility, "8") + at(visibility, "11"));
    const std::string last = "9007199254740991";
    EXPECT_EQ(read(at(visibility, last) + header + visibility),
              at(visibility, last) + at(header, last) + at(visibility, last));
}

TEST(Reader, RefusesLinesThatAreNoMessageOfOneKind)
{
    const std::string kind = "1: not one of a header, a notification and a request";
    const std::pair<std::string, std::string> rows[] = {
        {"\n", "1: The document is empty."},
        {"{}{}\n", "3: The document root must not be followed by other values."},
        {"[]\n", "1: not an object"},
        {"1\n", "1: not an object"},
        {"null\n", "1: not an object"},
        {"\"{}\"\n", "1: not an object"},
        {"true\n", "1: not an object"},
        {std::string("{}\0{}\n", 6), "3: a NUL character"},
        {"{\"\xFF\":1}\n", "3: Invalid encoding in string."},
        {"{}\n", kind},
        {Replaced(visibility, "notification", "news"), kind},
        {header, "1: a second header"},
        {Replaced(visibility, "{", "{\"visible\":true,"), "103: the field is there twice"},
        {Replaced(visibility, ":6,", ":4,"), "2: monoUs is earlier than in the line before"},
        {Replaced(visibility, "{", "{\"request\":\"Ping\","), kind},
    };
    for (const auto& [line, mistake] : rows) {
        EXPECT_EQ(MistakeOf(line), "drive:2:" + mistake);
    }
}

TEST(Reader, RefusesMissingFields)
{
    const std::string missing = "drive:2:1: there is no ";
    for (const char* name : {"monoUs", "wallUs", "subscription", "regionId", "size", "crc32",
                             "fill", "backgroundCode"}) {
        EXPECT_EQ(MistakeOf(palette, name, "other"), missing + name);
    }
    EXPECT_EQ(MistakeOf(visibility, "visible", "visibel"), missing + "visible");
    EXPECT_EQ(MistakeOf(request, "client", "other"), missing + "client");
    EXPECT_EQ(MistakeOf(request, "result", "other"), missing + "result");
    for (const char* name : {"writer", "service"}) {
        EXPECT_EQ(Read(Replaced(header, name, "other")).mistake,
                  std::string("drive:1:1: there is no ") + name);
    }
}

TEST(Reader, RefusesNumbersThatAreNotWholeOrOutOfRange)
{
    const std::string wrong = MistakeAt(visibility, "regionId is not a whole number from 0 to 255");
    for (const char* value : {"256", "-1", "3.0", "\"3\"", "true", "[3]", "18446744073709551616"}) {
        EXPECT_EQ(MistakeOf(visibility, "\"regionId\":3", std::string("\"regionId\":") + value),
                  wrong)
            << value;
    }
}

TEST(Reader, RefusesFieldsWithTheReason)
{
    const struct {
        const std::string& line;
        const char* right;
        const char* wrong;
        const char* reason;
    } rows[] = {
        {visibility, "true", "1", "visible is not true or false"},
        {visibility, "\"RegionVisibility\"", "6", "notification is not a text"},
        {visibility, "RegionVisibility", "Visibility", "notification is an unknown word"},
        {request, "\"ok\"", "\"OK\"", "result is an unknown word"},
        {visibility, ":6,", ":9007199254740992,",
         "monoUs is not a whole number from 0 to 9007199254740991"},
        {bitmap, "7b35f858", "7b35f859", "crc32 is not that of the data"},
        {bitmap, R"("size":5,"crc32":"7b35f858","data":"AAECA/8=")",
         R"("size":0,"crc32":"7b35f858")", "crc32 is not that of the data"},
        {bitmap, "7b35f858", "7B35F858", "crc32 is not eight digits of 0 to 9 and a to f"},
        {bitmap, "7b35f858", "07b35f858", "crc32 is not eight digits of 0 to 9 and a to f"},
        {bitmap, "\"size\":5", "\"size\":4", "data has 5 bytes, not the size"},
        {bitmap, "\"size\":5", "\"size\":16777217",
         "size is not a whole number from 0 to 16777216"},
        {visibility, ":6,\"r", ":10,\"r", "subscription is not 6, that of this notification"},
        {palette, ":10", ":6", "subscription is not 10, that of this notification"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(MistakeOf(row.line, row.right, row.wrong), MistakeAt(row.line, row.reason));
    }
}

TEST(Reader, RefusesDataThatIsNoBase64)
{
    for (const char* text : {"Z", "Zg=", "====", "Z===", "Zg==Zg==", "Zm 9", "Zm-_",
                             "Zh==", "Zm9=", "=Zm9", "Z=g=", "\xC3\xA4g=", "Zm9v===="}) {
        EXPECT_EQ(MistakeOf(bitmap, "AAECA/8=", text), MistakeAt(bitmap, "data is not base64"));
    }
}

TEST(Reader, RefusesASubscriptionThatIsNotOfItsFormat)
{
    const char* const subscriptions[] = {"2", "3", "4", "12", "12"};
    for (unsigned int format = 0; format < 5; ++format) {
        const std::string right = subscriptions[format];
        const std::string line =
            Replaced(bitmap, "Format\":2", "Format\":" + std::to_string(format));
        EXPECT_EQ(
            MistakeOf(line, "subscription\":4", "subscription\":5"),
            MistakeAt(bitmap, "subscription is not " + right + ", that of this notification"));
        EXPECT_EQ(
            Read(header + Replaced(line, "subscription\":4", "subscription\":" + right)).mistake,
            "");
    }
}

TEST(Reader, RefusesDeepNestingWithoutUsingTheStack)
{
    const std::string deep(5000000, '[');
    EXPECT_EQ(MistakeOf("{\"x\":" + deep + "\n"), "drive:2:2: nested too deeply");
}

TEST(Reader, RefusesALineThatIsLongerThanAnyMessage)
{
    const std::string column = "drive:2:" + std::to_string(longestLine + 1);
    EXPECT_EQ(MistakeOf(std::string(longestLine, ' ')),
              column + ": the line has no end; the recording is incomplete");
    EXPECT_EQ(MistakeOf(std::string(longestLine + 1, ' ')),
              column + ": the line is longer than any message");
}

TEST(Reader, ReadsTheLargestPayload)
{
    const std::vector<unsigned char> bytes(largestData, 3);
    Notification largest;
    largest.at.monoUs = 6;
    largest.subscription = 2;
    largest.data = {bytes.data(), bytes.size()};
    std::string text = header;
    AppendLine(text, largest);
    const Reading reading = Read(text);
    EXPECT_EQ(reading.mistake, "");
    EXPECT_TRUE(reading.lines == text);
}

TEST(Reader, RepeatsAMistakeAndReadsNoFurther)
{
    Reader reader("drive", Reader::Start::HeaderOptional);
    Receive(reader, "{}\n" + visibility);
    AnyLine line;
    EXPECT_EQ(reader.Next(line), Reader::Found::Mistake);
    const std::string mistake = reader.Mistake();
    EXPECT_EQ(reader.Next(line), Reader::Found::Mistake);
    EXPECT_EQ(reader.Mistake(), mistake);
}

}  // namespace
