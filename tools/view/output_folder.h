#pragma once

#include <string>

namespace view {

/// The folder of the files that a command writes, or standard output.
class OutputFolder {
public:
    /// Makes the folder if it does not exist. \param path  `-` for standard output
    explicit OutputFolder(std::string path);

    /// Writes a file as OutputFile does. Does nothing after a problem.
    void Write(const std::string& name, const std::string& bytes);

    bool IsStandardOutput() const { return folder == "-"; }
    std::string PathOf(const std::string& name) const;

    /// Why a file is missing; empty for no reason.
    const std::string& Problem() const { return problem; }

private:
    const std::string folder;
    std::string problem;
};

}  // namespace view
