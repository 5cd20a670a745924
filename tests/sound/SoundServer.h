#pragma once

#include "support/RealLoop.h"
#include "support/TemporaryFolder.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace vitrel {

// A real sound server of the test's own, without a card: outputs "out1" and "out2", and "mic", the default source,
// which on PulseAudio is a tone for whoever listens.
class SoundServer
{
public:
    enum class Kind { PulseAudio, PipeWire };

    static bool isInstalled(Kind kind)
    {
        return std::system(kind == Kind::PulseAudio
                       ? "command -v pulseaudio pactl >/dev/null"
                       : "command -v pipewire wireplumber pipewire-pulse pactl dbus-run-session >/dev/null")
            == 0;
    }
    // `more` are words for the first one, with which it starts.
    explicit SoundServer(Kind kind, std::string more = {})
        : kind_(kind)
        , more_(std::move(more))
    {
        for (const char* name : {"XDG_RUNTIME_DIR", "HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME"})
            setenv(name, folder_.path().c_str(), 1);
        for (const char* name : {"PULSE_SERVER", "DISPLAY", "DBUS_SESSION_BUS_ADDRESS"})
            unsetenv(name);
        start();
    }
    ~SoundServer() { kill(); }

    bool start()
    {
        if (kind_ == Kind::PulseAudio) {
            run("exec pulseaudio -n --daemonize=no --exit-idle-time=-1 --log-level=error -L module-native-protocol-unix"
                " -L 'module-null-sink sink_name=out1' -L 'module-null-sink sink_name=out2'"
                " -L 'module-sine-source source_name=mic frequency=500' -L 'module-suspend-on-idle timeout=1' "
                + more_);
            return waitFor("pactl set-default-sink out1 && pactl set-default-source mic");
        }
        run("exec dbus-run-session -- sh -c 'pipewire & until [ -S $XDG_RUNTIME_DIR/pipewire-0 ]; do sleep 0.02; done; "
            "wireplumber & exec pipewire-pulse'");
        return waitFor("pactl info") && succeeds("pactl load-module module-null-sink sink_name=out1")
            && succeeds("pactl load-module module-null-sink sink_name=out2")
            && succeeds("pactl load-module module-null-sink media.class=Audio/Source/Virtual sink_name=mic")
            && waitFor(
                "pactl set-default-sink out1 && pactl set-default-source mic && pactl get-default-sink | grep -q "
                "out1 && pactl get-default-source | grep -q mic");
    }
    void kill()
    {
        if (process_ > 0) {
            ::kill(-process_, SIGKILL);
            waitpid(process_, nullptr, 0);
            // Its helpers too, which nobody may reap; and what would look like a server to the next one's.
            for (int k = 0; k < 50 && ::kill(-process_, 0) == 0; ++k)
                usleep(5000);
            for (const char* name : {"pipewire-0", "pipewire-0.lock", "pulse"})
                std::filesystem::remove_all(folder_ / name);
        }
        process_ = 0;
    }
    bool succeeds(const std::string& command) const
    {
        return std::system(("(" + command + ") >/dev/null 2>&1").c_str()) == 0;
    }
    bool waitFor(const std::string& command) const
    {
        RealLoop loop;
        return loop.turnUntil([&] { return succeeds(command); }, 10);
    }

private:
    void run(const std::string& command)
    {
        process_ = fork();
        if (process_ == 0) {
            setpgid(0, 0);
            prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is killed leaves none behind
            std::freopen("/dev/null", "w", stdout);
            std::freopen("/dev/null", "w", stderr);
            execlp("sh", "sh", "-c", command.c_str(), nullptr);
            _exit(127);
        }
        setpgid(process_, process_);
    }

    const Kind kind_;
    const std::string more_;
    TemporaryFolder folder_;
    pid_t process_ = 0;
};

// A program that plays a tone until this goes.
class TonePlayer
{
public:
    explicit TonePlayer(double frequency, const std::string& more = {})
    {
        std::vector<float> samples(44'100 * 20);
        for (std::size_t k = 0; k < samples.size(); ++k)
            samples[k] = float(0.5 * __builtin_sin(2 * 3.14159265358979 * frequency * double(k) / 44'100));
        folder_.write("tone", {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(float)});
        process_ = fork();
        if (process_ == 0) {
            const std::string command
                = "exec pacat --raw --format=float32le --rate=44100 --channels=1 --latency-msec=50 " + more + " "
                + folder_ / "tone" + " >/dev/null 2>&1";
            execlp("sh", "sh", "-c", command.c_str(), nullptr);
            _exit(127);
        }
    }
    ~TonePlayer()
    {
        ::kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }

private:
    TemporaryFolder folder_;
    pid_t process_ = 0;
};

} // namespace vitrel
