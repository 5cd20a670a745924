// film: a composition as a moving picture, frame by frame, complete on any machine.
#include "programs/filming/FilmFile.h"
#include "programs/supervisor/HostSignals.h"
#include "programs/vitrel/Arguments.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/FramePlay.h"
#include "support/PrintKit.h"

#include <unistd.h>

#include <cstdio>

namespace vitrel {

namespace {

struct FilmOptions : SaverOptions {
    std::vector<std::string> names; // FILE OUT, or OUT alone
    std::string out, size;
    double seconds = 10;
    std::optional<double> fps;
};

// On a terminal, a bar that goes when all is done.
class Progress
{
public:
    explicit Progress(std::int64_t frames)
        : frames_(frames)
        , isShown_(isatty(STDERR_FILENO) == 1)
    { }
    ~Progress()
    {
        if (isShown_ && percent_ >= 0)
            std::fprintf(stderr, "\r\033[K");
    }
    void show(std::int64_t done)
    {
        constexpr int kColumns = 40;
        const int percent = int(done * 100 / frames_);
        if (!isShown_ || percent == percent_)
            return;
        percent_ = percent;
        const int full = percent * kColumns / 100;
        std::fprintf(stderr, "\r[%s%s] %3d %%, frame %lld of %lld", std::string(std::size_t(full), '#').c_str(),
            std::string(std::size_t(kColumns - full), ' ').c_str(), percent, static_cast<long long>(done),
            static_cast<long long>(frames_));
        std::fflush(stderr);
    }

private:
    const std::int64_t frames_;
    const bool isShown_;
    int percent_ = -1;
};

int shoot(FramePlay& play, const FilmFormat& format, const std::string& out, RunLoop& signals, const bool& isStopped)
{
    auto film = FilmFile::make(out, format);
    if (!film)
        return complain(film.error());
    std::vector<std::uint32_t> pixels(std::size_t(format.width) * std::size_t(format.height));
    Progress progress(format.frames());
    for (std::int64_t frame = 0; frame < format.frames(); ++frame) {
        progress.show(frame);
        signals.turn();
        if (isStopped)
            return complain("the film was interrupted, and isn't there");
        if (!play.drawFrame(format.timeOf(frame)))
            return 1;
        play.view().readInto(pixels.data());
        if (!(*film)->add(pixels.data()))
            return complain("can't write " + out);
    }
    return (*film)->finish() ? 0 : complain("can't write " + out);
}

int film(FilmOptions options)
{
    options.out = options.names.back();
    if (options.names.size() > 1)
        options.file = options.names.front();
    const auto kind = filmKindOf(options.out);
    if (!kind)
        return complain("a film is a .webp, a .gif or a .y4m, or - for Y4M on standard output", 2);
    auto size = usualFilmSize(*kind);
    if (!options.size.empty()) {
        const auto given = parseSize(options.size);
        if (!given)
            return complain("--size takes WIDTHxHEIGHT, each from 1 to 8192", 2);
        size = *given;
    }
    const FilmFormat format{
        *kind, size.first, size.second, options.fps.value_or(usualFilmRate(*kind)), options.seconds};
    if (const std::string why = format.whyNot(); !why.empty())
        return complain(why, 2);
    if (options.out == "-" && isatty(STDOUT_FILENO))
        return complain("a film on a terminal shows nothing; send it to a program", 2);
    CommandFiles files;
    files.written = {options.out == "-" ? std::string() : options.out};
    files.largest = std::max(files.largest, format.bytes());
    closeAllBut(files);
    bool isStopped = false;
    SystemClock clock;
    RunLoop loop(clock);
    const HostSignals signals(loop, [&](int) { isStopped = true; });
    const auto play = FramePlay::make(options, size.first, size.second, files);
    return play ? shoot(**play, format, options.out, loop, isStopped) : play.error();
}

} // namespace

void addFilm(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("film", "Write a moving picture, frame by frame: WebP, GIF or Y4M");
    const auto options = std::make_shared<FilmOptions>();
    command
        ->add_option("FILE_OUT", options->names,
            "The composition, as for play, and the file to write: .webp, .gif, .y4m, or - for Y4M on standard output")
        ->expected(1, 2)
        ->required()
        ->option_text("[FILE] OUT");
    command->add_option("--seconds", options->seconds, "How long; 10 if not given")->check(CLI::Range(0.001, 86400.0));
    command->add_option("--fps", options->fps, "Frames a second; 30 if not given, 25 of a GIF")
        ->check(CLI::Range(0.01, 240.0));
    command->add_option("--size", options->size, "WIDTHxHEIGHT in pixels; 640x360 if not given, 1280x720 of a Y4M");
    auto* demo = command->add_flag("--demo", options->demo, "With the built-in player and its feed");
    command->add_option("--input", options->inputs, "KEY=VALUE sets a published input; may be given again")
        ->allow_extra_args(false);
    auto* sound = command->add_option("--sound", options->sound, "A sound file that it hears; or off");
    addReplayOptions(*command, options->replay, options->view, {demo, sound});
    const auto verbose = addVerbose(*command);
    command->callback([&action, options, verbose] {
        options->logs = *verbose;
        print::setDestination(*verbose ? print::Destination::StandardError : print::Destination::Nowhere);
        action = [=] { return film(*options); };
    });
}

} // namespace vitrel
