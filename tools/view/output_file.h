#pragma once

#include <string>

namespace view {

/// A file that is written under a temporary name and renamed, so that a program that follows it
/// never reads half of one; or standard output.
class OutputFile {
public:
    /// \param path  `-` for standard output
    explicit OutputFile(std::string path);
    /// Removes what was not finished.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(const std::string& bytes);

    /// The file appears, if there was no problem.
    void Finish();

    /// Why the file cannot be written; empty for no reason.
    const std::string& Problem() const { return problem; }

    /// Whether more can be written, also to standard output.
    bool IsGood() const;

private:
    void Check(bool isDone);

    const std::string path;
    const std::string temporary;
    int fd = -1;
    std::string problem;
};

}  // namespace view
