#pragma once

#include <functional>
#include <string>
#include <sys/types.h>

namespace tap {

/// Writes whole lines to standard output or a file, and waits until they are taken.
class Output {
public:
    enum class State { Open, Closed, Failed };

    /// \param isOverToAsk  whether the program ends: then only the line that was begun is completed
    explicit Output(std::function<bool()> isOverToAsk) : isOver(std::move(isOverToAsk)) {}
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /// Both return false with the reason in Problem().
    ///
    /// \param path  empty for standard output. A file keeps its contents until Begin().
    bool Open(const std::string& path);
    bool Begin();

    /// Lines are appended here.
    std::string& Text() { return text; }

    /// Writes the text. \return Closed when the reader has closed the output, Failed for Problem()
    State Flush();

    /// Whether the reader has closed the output; does not wait.
    State Look() const;

    const std::string& Problem() const { return problem; }

private:
    State WriteSome(std::size_t& written, std::size_t end);
    State Fail(int error, std::size_t written);
    State GiveUp();
    void CutOff(std::size_t count) const;

    std::function<bool()> isOver;
    std::string name = "standard output";
    std::string text;
    std::string problem;
    int fd = -1;
    bool isFile = false;
};

}  // namespace tap
