#pragma once
// --machine FILE: a simulated audio machine put in the place of the
// system's audio stack for the whole run, before the library is touched.
#include <memory>
#include <string>

class SimulatedMachine {
public:
    // Loads and installs the machine; a file that cannot be read or is not
    // a valid description is a file error naming the place and the reason.
    // COM must be initialised on the calling thread.
    static std::unique_ptr<SimulatedMachine> install(std::string const& file);
    virtual ~SimulatedMachine() = default;
    virtual std::string name() const = 0;
    // Runs an event script on the machine: its edits and the events it
    // fires. A bad script is a file error naming the step and the reason.
    virtual void runScript(std::string const& file) = 0;
    // A file error now for a script that cannot be read, so that a command
    // fails before it starts its work rather than midway.
    virtual void checkScript(std::string const& file) const = 0;
};
