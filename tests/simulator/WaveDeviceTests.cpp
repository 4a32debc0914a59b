// The machine's legacy wave devices as the platform layer serves them while
// the machine is installed: numbers and function instance ids, the mapper,
// header flags moving with the clock, loops, refusals, faults and the call
// log.
#include "SimulatorTestSupport.h"

#include <PcmFormat.h>

#include <platform/Platform.h>

#include <cmath>
#include <vector>

namespace simtests {
namespace {

const UINT kQueryIdSize = 0x812;
const UINT kQueryId = 0x811;

std::wstring functionInstanceId(UINT number, bool render) {
    platform::WaveDevices& wave = platform::wave();
    ULONG size = 0;
    const auto device = static_cast<DWORD_PTR>(number);
    const MMRESULT sized = render ? wave.outMessage(reinterpret_cast<HWAVEOUT>(device), kQueryIdSize,
                                                    reinterpret_cast<DWORD_PTR>(&size), 0)
                                  : wave.inMessage(reinterpret_cast<HWAVEIN>(device), kQueryIdSize,
                                                   reinterpret_cast<DWORD_PTR>(&size), 0);
    if (sized != MMSYSERR_NOERROR)
        return L"error";
    std::vector<wchar_t> text(size / sizeof(wchar_t));
    const MMRESULT read = render ? wave.outMessage(reinterpret_cast<HWAVEOUT>(device), kQueryId,
                                                   reinterpret_cast<DWORD_PTR>(text.data()), size)
                                 : wave.inMessage(reinterpret_cast<HWAVEIN>(device), kQueryId,
                                                  reinterpret_cast<DWORD_PTR>(text.data()), size);
    return read == MMSYSERR_NOERROR ? std::wstring(text.data()) : L"error";
}

// Waits, without a limit, for the device's clock to give the header back.
void waitForDone(const WAVEHDR& header) {
    while (!(header.dwFlags & WHDR_DONE))
        Sleep(5);
}

class WaveDeviceTest : public ComTest {};

TEST_F(WaveDeviceTest, NumbersAndFunctionInstanceIdsFollowTheDescription) {
    audiosim::Machine machine = laptop();
    audiosim::Installation installation(machine, selfTestOptions());
    platform::WaveDevices& wave = platform::wave();
    EXPECT_EQ(3u, wave.outGetNumDevs());
    EXPECT_EQ(1u, wave.inGetNumDevs());
    EXPECT_EQ(speakersId, functionInstanceId(0, true));
    EXPECT_EQ(headphonesId, functionInstanceId(1, true));
    EXPECT_EQ(hdmiId, functionInstanceId(2, true));
    EXPECT_EQ(micArrayId, functionInstanceId(0, false));
    EXPECT_EQ(L"error", functionInstanceId(3, true));

    // The size counts the terminator, in bytes; a smaller buffer is refused.
    ULONG size = 0;
    wave.outMessage(reinterpret_cast<HWAVEOUT>(DWORD_PTR{0}), kQueryIdSize, reinterpret_cast<DWORD_PTR>(&size), 0);
    EXPECT_EQ((std::wstring(speakersId).size() + 1) * sizeof(wchar_t), size);
    std::vector<wchar_t> small(4);
    EXPECT_EQ(MMSYSERR_INVALPARAM, wave.outMessage(reinterpret_cast<HWAVEOUT>(DWORD_PTR{0}), kQueryId,
                                                   reinterpret_cast<DWORD_PTR>(small.data()), 8));

    // The headphones unplugged: their number is gone.
    machine.setState(headphonesId, DEVICE_STATE_UNPLUGGED);
    EXPECT_EQ(L"error", functionInstanceId(1, true));

    const auto messages = machine.calls().of(L"waveOutMessage");
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(L"waveOut 0", messages[0].object);
    EXPECT_EQ(L"0, 0x812, ptr, 0", messages[0].arguments);
}

// The count runs to the highest active number whatever the gaps below it,
// and numbers come and go with the devices added to and removed from the
// machine.
TEST_F(WaveDeviceTest, NumbersFollowTheStatesAndEditsOfTheMachine) {
    audiosim::Machine machine = laptop();
    audiosim::Installation installation(machine, selfTestOptions());
    platform::WaveDevices& wave = platform::wave();
    machine.setState(hdmiId, DEVICE_STATE_UNPLUGGED);
    EXPECT_EQ(2u, wave.outGetNumDevs());
    machine.setState(headphonesId, DEVICE_STATE_DISABLED);
    EXPECT_EQ(1u, wave.outGetNumDevs());
    machine.setState(hdmiId, DEVICE_STATE_ACTIVE);
    EXPECT_EQ(3u, wave.outGetNumDevs());
    EXPECT_EQ(L"error", functionInstanceId(1, true));
    EXPECT_EQ(hdmiId, functionInstanceId(2, true));

    const std::wstring dockId = L"{0.0.0.00000000}.{d0c0d0c0-0000-4000-8000-000000000005}";
    audiosim::Device dock;
    dock.id = dockId;
    dock.flow = eRender;
    dock.wave.deviceNumber = 5;
    machine.addDevice(dock);
    EXPECT_EQ(6u, wave.outGetNumDevs());
    EXPECT_EQ(1u, wave.inGetNumDevs());
    EXPECT_EQ(dockId, functionInstanceId(5, true));
    EXPECT_EQ(L"error", functionInstanceId(4, true));
    EXPECT_EQ(L"error", functionInstanceId(5, false));
    machine.removeDevice(dockId);
    EXPECT_EQ(3u, wave.outGetNumDevs());
    EXPECT_EQ(L"error", functionInstanceId(5, true));

    // Another device may take the number of the one removed.
    dock.id = L"{0.0.0.00000000}.{d0c0d0c0-0000-4000-8000-000000000006}";
    machine.addDevice(dock);
    EXPECT_EQ(dock.id, functionInstanceId(5, true));
}

TEST_F(WaveDeviceTest, HeadersMoveAsWinmmMovesThemAndTheMapperPlaysOnTheDefault) {
    audiosim::Machine machine = laptop();
    audiosim::Installation installation(machine, selfTestOptions());
    platform::WaveDevices& wave = platform::wave();
    WAVEFORMATEX format = pcmFormat(2, 16, 48000);
    HWAVEOUT out = nullptr;
    ASSERT_EQ(MMSYSERR_NOERROR, wave.outOpen(&out, WAVE_MAPPER, &format, 0, 0, CALLBACK_NULL));

    // 10 ms of a full-scale square, played three times by a loop.
    std::vector<int16_t> block(2 * 480);
    for (size_t i = 0; i < block.size(); ++i)
        block[i] = (i / 2) % 48 < 24 ? 16384 : -16384;
    WAVEHDR header{};
    header.lpData = reinterpret_cast<LPSTR>(block.data());
    header.dwBufferLength = static_cast<DWORD>(block.size() * sizeof(int16_t));
    EXPECT_EQ(WAVERR_UNPREPARED, wave.outWrite(out, &header, sizeof header));
    header.dwFlags = WHDR_BEGINLOOP | WHDR_ENDLOOP;
    header.dwLoops = 3;
    ASSERT_EQ(MMSYSERR_NOERROR, wave.outPrepareHeader(out, &header, sizeof header));
    EXPECT_EQ(DWORD{WHDR_PREPARED | WHDR_BEGINLOOP | WHDR_ENDLOOP}, header.dwFlags);
    ASSERT_EQ(MMSYSERR_NOERROR, wave.outWrite(out, &header, sizeof header));
    EXPECT_TRUE(header.dwFlags & WHDR_INQUEUE);
    EXPECT_EQ(WAVERR_STILLPLAYING, wave.outUnprepareHeader(out, &header, sizeof header));
    EXPECT_EQ(WAVERR_STILLPLAYING, wave.outClose(out));
    waitForDone(header);
    EXPECT_FALSE(header.dwFlags & WHDR_INQUEUE);
    ASSERT_EQ(MMSYSERR_NOERROR, wave.outUnprepareHeader(out, &header, sizeof header));
    EXPECT_EQ(DWORD{WHDR_DONE | WHDR_BEGINLOOP | WHDR_ENDLOOP}, header.dwFlags);
    EXPECT_EQ(3u * block.size(), machine.renderedSamples(speakersId).size());

    // Reset gives a queued header back at once, marked done.
    header.dwFlags = 0;
    header.dwLoops = 0;
    machine.setClockSpeed(0.0);
    wave.outPrepareHeader(out, &header, sizeof header);
    wave.outWrite(out, &header, sizeof header);
    EXPECT_FALSE(header.dwFlags & WHDR_DONE);
    EXPECT_EQ(MMSYSERR_NOERROR, wave.outReset(out));
    EXPECT_EQ(DWORD{WHDR_PREPARED | WHDR_DONE}, header.dwFlags);
    machine.setClockSpeed(1.0);
    wave.outUnprepareHeader(out, &header, sizeof header);
    EXPECT_EQ(MMSYSERR_NOERROR, wave.outClose(out));
    EXPECT_EQ(MMSYSERR_INVALHANDLE, wave.outClose(out));
}

TEST_F(WaveDeviceTest, RecordingFillsTheBufferFromTheSourceAndStopGivesBackThePartOneFilled) {
    audiosim::Machine machine = laptopHearingATone();
    audiosim::Installation installation(machine, selfTestOptions());
    platform::WaveDevices& wave = platform::wave();
    WAVEFORMATEX format = pcmFormat(2, 16, 48000);
    HWAVEIN in = nullptr;
    ASSERT_EQ(MMSYSERR_NOERROR, wave.inOpen(&in, 0, &format, 0, 0, CALLBACK_NULL));

    std::vector<int16_t> samples(2 * 4800);
    WAVEHDR header{};
    header.lpData = reinterpret_cast<LPSTR>(samples.data());
    header.dwBufferLength = static_cast<DWORD>(samples.size() * sizeof(int16_t));
    ASSERT_EQ(MMSYSERR_NOERROR, wave.inPrepareHeader(in, &header, sizeof header));
    ASSERT_EQ(MMSYSERR_NOERROR, wave.inAddBuffer(in, &header, sizeof header));
    EXPECT_EQ(DWORD{WHDR_PREPARED | WHDR_INQUEUE}, header.dwFlags);
    ASSERT_EQ(MMSYSERR_NOERROR, wave.inStart(in));
    waitForDone(header);
    EXPECT_EQ(header.dwBufferLength, header.dwBytesRecorded);
    int16_t peak = 0;
    for (int16_t sample : samples)
        peak = std::max<int16_t>(peak, static_cast<int16_t>(std::abs(sample)));
    EXPECT_NEAR(0.25 * 32767, peak, 100);

    // A frozen clock fills nothing; stop gives back what is there.
    machine.setClockSpeed(0.0);
    header.dwFlags = 0;
    wave.inPrepareHeader(in, &header, sizeof header);
    wave.inAddBuffer(in, &header, sizeof header);
    Sleep(20);
    EXPECT_EQ(0u, header.dwBytesRecorded);
    EXPECT_EQ(WAVERR_STILLPLAYING, wave.inClose(in));
    wave.inStop(in);
    EXPECT_TRUE(header.dwFlags & WHDR_INQUEUE);
    wave.inReset(in);
    EXPECT_EQ(DWORD{WHDR_PREPARED | WHDR_DONE}, header.dwFlags);
    wave.inUnprepareHeader(in, &header, sizeof header);
    EXPECT_EQ(MMSYSERR_NOERROR, wave.inClose(in));
}

TEST_F(WaveDeviceTest, FaultsAnswerTheWaveFunctionsAndTheSystemComesBackAfterwards) {
    platform::WaveDevices* system = &platform::wave();
    {
        audiosim::Machine machine = laptop();
        audiosim::Installation installation(machine, selfTestOptions());
        EXPECT_NE(system, &platform::wave());
        machine.faults().add(audiosim::Fault::on(L"waveOutOpen", MMSYSERR_ALLOCATED).at(speakersId));
        machine.faults().add(audiosim::Fault::on(L"waveInGetNumDevs", E_FAIL));
        WAVEFORMATEX format = pcmFormat(2, 16, 48000);
        HWAVEOUT out = nullptr;
        EXPECT_EQ(MMSYSERR_ALLOCATED, platform::wave().outOpen(&out, 0, &format, 0, 0, CALLBACK_NULL));
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(MMSYSERR_NOERROR, platform::wave().outOpen(&out, 1, &format, 0, 0, CALLBACK_NULL));
        EXPECT_EQ(MMSYSERR_NOERROR, platform::wave().outClose(out));
        EXPECT_EQ(0u, platform::wave().inGetNumDevs());
        EXPECT_EQ(MMSYSERR_BADDEVICEID, platform::wave().outOpen(&out, 7, &format, 0, 0, CALLBACK_NULL));

        const auto opens = machine.calls().of(L"waveOutOpen");
        ASSERT_EQ(3u, opens.size());
        EXPECT_TRUE(opens[0].faulted);
        EXPECT_EQ(L"waveOut 1", opens[1].object);
        EXPECT_EQ(L"1, 2ch 16bit 48000Hz, 0x0, 0x0", opens[1].arguments);
        EXPECT_THROW(machine.faults().add(audiosim::Fault::on(L"waveOutPause", E_FAIL)), std::invalid_argument);
    }
    EXPECT_EQ(system, &platform::wave());
}

}  // namespace
}  // namespace simtests
