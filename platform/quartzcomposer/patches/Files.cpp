// What lies beside a composition: pictures, documents, folders. Loaded while the composition plays.
#include "platform/foundation/Files.h"
#include "platform/appkit/NSImage.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/loading/BesideFiles.h"
#include "platform/quartzcomposer/loading/LoadQueue.h"
#include "platform/quartzcomposer/loading/XMLStructure.h"

namespace vitrel::qc {

namespace {

// What is beside the composition is there in its first picture, unless the disk is slow.
constexpr std::chrono::milliseconds kFirstFrameWaits{100};
constexpr double kLookAgain = 0.1; // seconds, while something loads

// Loads when its path changes or its signal rises. What it had stays until the next is there.
template <class T> class LoadingPatch : public Patch
{
public:
    Kind kind() const override { return Kind::Timed; }
    static std::vector<DescribedPort> loadPorts()
    {
        return {{"outputProgress", "How far it is: 0 while it loads, 1 once it is there", kShare},
            {"outputSignal", "True for the one frame in which it has come"}};
    }

protected:
    void configure(const Settings& settings) override { folder_ = settings.folder; }
    virtual const std::string& path() const = 0;
    virtual bool asked() const { return false; }
    // Any thread: must not touch the patch.
    virtual std::function<T()> work(const std::string& folder, const std::string& name) const = 0;
    // Null for what couldn't be loaded.
    virtual void take(T loaded, bool done) = 0;

    void evaluate(Evaluation& e) override
    {
        if (path() != path_ || (asked() && !wasAsked_))
            begin();
        wasAsked_ = asked();
        const auto now = std::chrono::steady_clock::now();
        auto loaded = load_.result(e.frame <= 1 ? e.begun + kFirstFrameWaits : now);
        const bool done = loaded && *loaded;
        if (load_.running())
            e.needFrameAt(e.time + kLookAgain);
        if (loaded)
            take(std::move(*loaded), done);
        progress.set(done || (isThere_ && !load_.running()) ? 1 : 0);
        isThere_ = loaded ? done : isThere_;
        signal.set(done);
        if (done)
            e.needFrame(); // in which the signal ends
    }
    void begin()
    {
        path_ = path();
        isThere_ = false;
        load_.forget();
        if (const auto name = nameBeneath(folder_, path_))
            load_.start(work(folder_, *name));
        else
            take(T{}, false);
    }

    Output<double> progress{*this, "outputProgress"};
    Output<bool> signal{*this, "outputSignal"};

private:
    std::string folder_, path_;
    bool wasAsked_ = false, isThere_ = false;
    Load<T> load_;
};

class ImageDownloaderPatch final : public LoadingPatch<ImageRef>
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Image Downloader", "Reads a picture beside the composition, or beneath its folder.",
            {{"inputURL", "The picture's name, relative to the composition"},
                {"inputSignal", "When it rises, it is read anew"},
                {"outputImage", "The picture; the one before until it is there"}}}
            .with(loadPorts());
    }

private:
    Input<std::string> url{*this, "inputURL"};
    Input<bool> update{*this, "inputSignal"};
    Output<ImageRef> image{*this, "outputImage"};

    const std::string& path() const override { return url(); }
    bool asked() const override { return update(); }
    std::function<ImageRef()> work(const std::string& folder, const std::string& name) const override
    {
        return [folder, name]() -> ImageRef {
            const auto bytes = readFileBeneath(folder, name, kMaxBesideFile);
            const auto decoded
                = bytes && isPicture(*bytes) && roomForImages() ? NSImage::imageWithData(*bytes) : nullptr;
            const bool has = decoded && !decoded->representations().empty();
            return has ? ownImage(decoded->representations().front().bitmap()) : nullptr;
        };
    }
    void take(ImageRef loaded, bool) override { image.set(std::move(loaded)); }
};

class XMLDownloaderPatch final : public LoadingPatch<StructureRef>
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"XML Downloader",
            "Reads an XML document beside the composition, or beneath its folder.",
            {{"inputURL", "The document's name, relative to the composition"},
                {"inputSignal", "When it rises, it is read anew"},
                {"outputStructure", "What the root element holds, keyed by the names of elements and attributes"}}}
            .with(loadPorts());
    }

private:
    Input<std::string> url{*this, "inputURL"};
    Input<bool> update{*this, "inputSignal", true};
    Output<StructureRef> structure{*this, "outputStructure"};

    const std::string& path() const override { return url(); }
    bool asked() const override { return update(); }
    std::function<StructureRef()> work(const std::string& folder, const std::string& name) const override
    {
        return [folder, name]() -> StructureRef {
            const auto bytes = readFileBeneath(folder, name, kMaxBesideFile);
            return bytes ? structureOfXML(*bytes) : nullptr;
        };
    }
    void take(StructureRef loaded, bool) override { structure.set(std::move(loaded)); }
};

class DirectoryScannerPatch final : public LoadingPatch<std::shared_ptr<std::vector<std::string>>>
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Directory Scanner",
            "Lists the files of a folder beside the composition, in the order of their names.",
            {{"inputPath", "The folder's name, relative to the composition"},
                {"inputSignal", "When it rises, it is read anew"},
                {"outputFiles", "The files' names, a list of texts"}},
            {{"fileType", DescribedSetting::Text, "Which files are listed: public.image for pictures; all without it",
                 {}, {}, R"("public.image")"},
                {"recursive", DescribedSetting::Flag, "Whether folders within it are read too"}}}
            .with(loadPorts());
    }

private:
    using Paths = std::shared_ptr<std::vector<std::string>>;
    Input<std::string> folder{*this, "inputPath"};
    Input<bool> update{*this, "inputSignal", true};
    Output<StructureRef> files{*this, "outputFiles"};

    void configure(const Settings& settings) override
    {
        LoadingPatch::configure(settings);
        what_ = {settings.text("fileType") == "public.image", settings.flag("recursive", false)};
    }
    const std::string& path() const override { return folder(); }
    bool asked() const override { return update(); }
    std::function<Paths()> work(const std::string& folder, const std::string& name) const override
    {
        return [folder, name, what = what_]() -> Paths {
            auto found = filesBeneath(folder, name, what);
            return found ? std::make_shared<std::vector<std::string>>(std::move(*found)) : nullptr;
        };
    }
    void take(Paths loaded, bool done) override
    {
        auto list = std::make_shared<Structure>();
        for (std::size_t k = 0; done && k < loaded->size(); ++k)
            list->members.push_back({{}, (*loaded)[k]});
        files.set(done ? StructureRef(list) : nullptr);
    }
    Listing what_;
};

} // namespace

void registerFilesPatches(PatchRegistry& registry)
{
    registry.family("Sources");
    registry.add<ImageDownloaderPatch>("QCImageDownloader");
    registry.add<XMLDownloaderPatch>("QCXMLDownloader");
    registry.add<DirectoryScannerPatch>("QCDirectoryScanner");
}

} // namespace vitrel::qc
