#pragma once
// Runs sonvane.exe as a child process, the way a person or a script does,
// and keeps what it printed and how it ended.
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

struct ToolRun {
    int exitCode = -1;
    std::string out;
    std::string err;

    nlohmann::json json() const;
    // Standard error split into its lines, empty ones left out.
    std::vector<std::string> errorLines() const;
    // Everything, for failure messages.
    std::string describe() const;
};

// sonvane.exe from the folder of the running test program.
ToolRun runTool(std::vector<std::string> const& arguments);

// A shipped simulated machine, by file name.
std::string machine(std::string const& name);

// A fresh empty folder for one test's files, removed by the object.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    std::string const& path() const { return m_path; }
    std::string file(std::string const& name) const { return m_path + "\\" + name; }
    // The names of the files in the folder now.
    std::vector<std::string> names() const;
    void write(std::string const& name, std::string const& contents) const;
    std::string read(std::string const& name) const;

private:
    std::string m_path;
};
