#include "simulator/control/answers.h"
#include "simulator/control/commands.h"

#include "words/nearest_word.h"
#include "words/times.h"

#include <memory>

using namespace platform;
using namespace sim;

namespace {

const char* WordFor(Player::State state)
{
    switch (state) {
    case Player::State::None: return "none";
    case Player::State::Checking: return "checking";
    case Player::State::Seeking: return "seeking";
    case Player::State::Paused: return "paused";
    case Player::State::Waiting: return "waiting";
    case Player::State::Playing: return "playing";
    case Player::State::Ended: break;
    }
    return "ended";
}

std::string WhyNot(const Player& player)
{
    return Failed(player.HasEnded() ? "the play has ended" : "nothing is played");
}

std::string NotATime(const std::string& word)
{
    return words::Quoted(word) + " is not a time, like 500ms or 2s";
}

/// Reads one word of a play line after its file. \return why it is wrong; empty when it is not
std::string ReadOption(const std::string& word, PlayOptions& options)
{
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
    if (word == "loop" || word == "paused") {
        (word == "loop" ? options.loop : options.isPaused) = true;
        return "";
    }
    if (name == "rate") {
        return ParseRate(value, options.rate) ? "" : words::Quoted(value) + " is not a rate";
    }
    if (name == "from" || name == "until") {
        std::int64_t& time = name == "from" ? options.fromUs : options.untilUs;
        return words::ParseTime(value, time) ? "" : NotATime(value);
    }
    return "unknown option " + words::Quoted(word) +
           words::Suggestion(name, {"rate", "loop", "from", "until", "paused"});
}

}  // namespace

void sim::AddPlay(Json& json, const Player& player)
{
    json.Begin('{').Name("state").Add(WordFor(player.GetState()));
    if (player.GetState() != Player::State::None) {
        json.Name("positionUs").Add(player.PositionUs());
        json.Name("lengthUs").Add(player.LengthUs());
    }
    if (*player.WaitsFor() != '\0') {
        json.Name("waitsFor").Add(player.WaitsFor());
    }
    json.End('}');
}

/// Answers with the position when the player has nothing in progress any more.
Answer ControlCommands::AnswerWithPosition(const Call& call)
{
    call.connection.job.poll = [&player = on.player](Budget& /*budget*/) -> Answer {
        if (player.IsBusy()) {
            return Answer();
        }
        if (player.GetState() == Player::State::None) {
            return WhyNot(player);  // another control client has stopped it
        }
        return player.Mistake().empty()
                   ? Done("\"positionUs\":" + std::to_string(player.PositionUs()))
                   : Failed(player.Mistake());
    };
    return Answer();
}

Answer ControlCommands::Play(const Call& call)
{
    const std::vector<std::string>& words = call.line.words;
    PlayOptions options;
    for (std::size_t i = 2; i < words.size(); ++i) {
        const std::string reason = ReadOption(words[i], options);
        if (!reason.empty()) {
            return Failed(reason);
        }
    }
    if (options.untilUs <= options.fromUs) {
        return Failed("until is not after from");
    }
    if (words[1] == "-") {
        return Failed("standard input is not a file");
    }
    std::vector<std::string> mistakes;
    std::unique_ptr<Source> source = OpenSource(words[1], mistakes);
    if (!source) {
        return FailedWith(mistakes);
    }
    on.player.Start(std::move(source), options);
    return AnswerWithPosition(call);
}

Answer ControlCommands::Pause(const Call& call)
{
    return on.player.Pause() ? AnswerWithPosition(call) : WhyNot(on.player);
}

Answer ControlCommands::Resume(const Call& /*call*/)
{
    return on.player.Resume() ? Done() : WhyNot(on.player);
}

Answer ControlCommands::StepOn(const Call& call)
{
    unsigned int count = 1;
    if (call.line.words.size() == 2 && !words::ParseNumber(call.line.words[1], count)) {
        return Failed(words::Quoted(call.line.words[1]) + " is not a number from 0 to 4294967295");
    }
    return on.player.Step(count) ? AnswerWithPosition(call) : WhyNot(on.player);
}

Answer ControlCommands::Seek(const Call& call)
{
    std::int64_t us = 0;
    if (!words::ParseTime(call.line.words[1], us)) {
        return Failed(NotATime(call.line.words[1]));
    }
    if (on.player.GetState() == Player::State::None) {
        return WhyNot(on.player);
    }
    return on.player.Seek(us) ? AnswerWithPosition(call) : Failed("the play cannot go there now");
}

Answer ControlCommands::Stop(const Call& /*call*/)
{
    return on.player.Stop() ? Done() : WhyNot(on.player);
}
