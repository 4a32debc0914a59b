#include "SimulatedMachine.h"

#include "Text.h"
#include "ToolError.h"

#ifdef SONVANE_TOOL_WITH_SIMULATOR

#include <audiosim/Installation.h>
#include <audiosim/Machine.h>

#include <filesystem>
#include <fstream>

namespace {

// Says which of the usual mistakes it is, so that the user knows whether to
// fix the name or the file's rights.
void requireReadable(std::string const& file, char const* what) {
    std::filesystem::path const path = std::filesystem::u8path(file);
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
        throw fileError(std::string("cannot read the ") + what + " " + file + ": there is no such file");
    }
    if (std::filesystem::is_directory(path, ignored)) {
        throw fileError(std::string("cannot read the ") + what + " " + file + ": it is a folder");
    }
    if (!std::ifstream(path).good()) {
        throw fileError(std::string("cannot read the ") + what + " " + file + ": it cannot be opened");
    }
}

class InstalledMachine : public SimulatedMachine {
public:
    explicit InstalledMachine(audiosim::Machine machine)
        : m_machine(std::move(machine)), m_installation(m_machine, options()) {}

    std::string name() const override { return utf8(m_machine.name()); }

    void checkScript(std::string const& file) const override { requireReadable(file, "event script"); }

    void runScript(std::string const& file) override {
        checkScript(file);
        try {
            m_machine.runScriptFile(file);
        } catch (audiosim::DescriptionError const& error) {
            throw fileError(std::string("bad event script: ") + error.what());
        }
    }

private:
    // The tool is not a test: it keeps no record of which faults fired.
    static audiosim::InstallOptions options() {
        audiosim::InstallOptions chosen;
        chosen.recordFaultCoverage = false;
        return chosen;
    }

    audiosim::Machine m_machine;
    audiosim::Installation m_installation;
};

}  // namespace

std::unique_ptr<SimulatedMachine> SimulatedMachine::install(std::string const& file) {
    requireReadable(file, "machine file");
    try {
        return std::make_unique<InstalledMachine>(audiosim::Machine::fromFile(file));
    } catch (audiosim::DescriptionError const& error) {
        throw fileError(std::string("bad machine file: ") + error.what());
    } catch (std::runtime_error const& error) {
        throw deviceError(std::string("the simulated machine cannot be installed: ") + error.what());
    }
}

#else

std::unique_ptr<SimulatedMachine> SimulatedMachine::install(std::string const&) {
    throw usageError("--machine is not available in this build: it was made without the audio machine simulator");
}

#endif
