// A composition that plays within another.
#include "platform/foundation/Files.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/graph/GraphBuilder.h"
#include "platform/quartzcomposer/loading/BesideFiles.h"
#include "platform/quartzcomposer/loading/LoadQueue.h"
#include "platform/quartzcomposer/scene/Filters.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

constexpr std::size_t kMostDeep = 4, kMostPorts = 256;
constexpr std::chrono::milliseconds kFirstFrameWaits{100};
constexpr double kLookAgain = 0.1; // seconds, while the file loads
constexpr double kBlurPixels = 20; // of the system's blur, at an amount of 1

// A file's graph, played by whoever has it, in a time of its own.
class Imported
{
public:
    Imported(std::shared_ptr<const CompositionFile> file, const Importing& around)
        : file_(std::move(file))
        , patches_(around.patches)
    {
        GraphBuilder builder(*file_, *around.registry, &around);
        root = builder.build(scope_);
        count_ = builder.patches;
    }
    ~Imported() { *patches_ -= std::min(count_, *patches_); }
    Imported(const Imported&) = delete;
    Imported& operator=(const Imported&) = delete;

    template <class Run> void play(Evaluation& e, const Scope* around, double time, Run run)
    {
        scope_.path = around ? around->path : 0;
        scope_.iterates = around && around->iterates;
        scope_.index = around ? around->index : 0;
        scope_.count = around ? around->count : 1;
        ++scope_.stamp;
        const double outerTime = std::exchange(e.time, std::isfinite(time) ? std::max(time, 0.0) : 0);
        const double outerNext = std::exchange(e.nextFrame, std::numeric_limits<double>::infinity());
        run();
        const double wait = e.nextFrame - e.time;
        e.time = outerTime;
        e.nextFrame = std::min(outerNext, outerTime + std::max(wait, 0.0));
    }

private:
    const std::shared_ptr<const CompositionFile> file_; // ahead of what points into it
    std::shared_ptr<std::size_t> patches_;
    std::size_t count_ = 0;
    Scope scope_;

public:
    std::unique_ptr<Macro> root;
};

class ImporterPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Composition Importer", "Plays another composition, which lies beside this one.",
            {{"inputPath", "The composition's name, relative to this one"},
                {"*", "An input or an output of that composition, as the settings list them"}},
            {{"compositionMode", DescribedSetting::Text,
                 "Whether it draws, as a layer, or computes images and values; processor without it", {},
                 {"processor", "consumer"}},
                {"compositionInputs", DescribedSetting::List,
                    "The inputs to hand in, each with its key, its port class and perhaps a value", {}, {},
                    R"([{"key": "Color", "class": "QCColorPort"}, {"key": "Size", "class": "QCNumberPort"}])"},
                {"compositionOutputs", DescribedSetting::List,
                    "The outputs to take, each with its key and its port class", {}, {},
                    R"([{"key": "Picture", "class": "QCGLImagePort"}, {"key": "Lines", "class": "QCIndexPort"}])"}}};
    }

private:
    Input<std::string> path{*this, "inputPath"};
    using File = std::shared_ptr<const CompositionFile>;

    void configure(const Settings& settings) override
    {
        folder_ = settings.folder;
        importing_ = settings.importing;
        draws_ = settings.text("compositionMode") == "consumer";
        eachPort(settings.find("compositionInputs"), [this](const std::string& key, PortType type, const Value& value) {
            if (!input(key))
                inputs_.push_back(&addInput(key, type, portValueForHost(value, type).value_or(zeroOf(type))));
        });
        eachPort(settings.find("compositionOutputs"), [this](const std::string& key, PortType type, const Value&) {
            if (!output(key))
                outputs_.push_back(&addOutput(key, type));
        });
    }
    template <class Add> static void eachPort(const Value* list, Add add)
    {
        const Array* ports = list ? list->array() : nullptr;
        for (std::size_t k = 0; ports && k < std::min(ports->size(), kMostPorts); ++k) {
            const Dictionary* port = (*ports)[k].dictionary();
            const auto member = [](const Dictionary* of, const char* name) {
                const auto found = of ? of->find(name) : Dictionary::const_iterator();
                return of && found != of->end() ? found->second : Value();
            };
            const Value key = member(port, "key"), type = member(port, "class"), state = member(port, "state");
            if (key.as<std::string>())
                add(*key.as<std::string>(),
                    portTypeNamed(type.as<std::string>() ? *type.as<std::string>() : std::string()),
                    member(state.dictionary(), "value"));
        }
    }
    Kind kind() const override { return draws_ ? Kind::Consumer : Kind::Timed; }

    void evaluate(Evaluation& e) override
    {
        if (path() != path_)
            begin();
        const auto now = std::chrono::steady_clock::now();
        if (auto file = load_.result(e.frame <= 1 ? e.begun + kFirstFrameWaits : now); file && *file)
            open(std::move(*file));
        if (load_.running())
            e.needFrameAt(e.time + kLookAgain);
        if (imported_)
            handIn();
        if (draws_)
            return;
        if (!imported_)
            standIn();
        else
            imported_->play(e, scope, time(), [&] {
                for (OutputPort* port : outputs_) {
                    Source* source = imported_->root->output(port->key());
                    if (!source || source->type() != port->type())
                        continue;
                    source->update(e);
                    port->set(source->value());
                }
            });
    }
    void draw(Evaluation& e) override
    {
        if (imported_)
            imported_->play(e, scope, time(), [&] { imported_->root->execute(e); });
    }

    void begin()
    {
        path_ = path();
        imported_.reset();
        load_.forget();
        const auto name = importing_ ? nameBeneath(folder_, path_) : std::nullopt;
        file_ = name ? folder_ + "/" + *name : std::string();
        // One that is playing around this one would go on for ever.
        if (!name || importing_->files.size() > kMostDeep
            || std::find(importing_->files.begin(), importing_->files.end(), file_) != importing_->files.end())
            return;
        load_.start([folder = folder_, name = *name, whole = file_]() -> File {
            const auto bytes = readFileBeneath(folder, name, kMaxBesideFile);
            auto read = bytes ? compositionOfFile(*bytes, whole) : CompositionResult(CompositionError{});
            if (!read)
                return nullptr;
            return std::make_shared<const CompositionFile>(std::move(*read));
        });
    }
    void open(File file)
    {
        imported_ = std::make_unique<Imported>(std::move(file), *importing_);
        if ((imported_->root->kind() == Kind::Consumer) != draws_)
            imported_.reset(); // it was meant for another place
    }
    void handIn()
    {
        for (const InputPort* port : inputs_) {
            InputPort* inner = imported_->root->publishedInput(port->key());
            if (inner && inner->type() == port->type())
                inner->set(port->value());
        }
    }

    // Compositions of the system's that nobody has here.
    void standIn()
    {
        const auto isImage = [](const auto* port) { return port->type() == PortType::Image; };
        const auto from = std::find_if(inputs_.begin(), inputs_.end(), isImage);
        const auto to = std::find_if(outputs_.begin(), outputs_.end(), isImage);
        if (from == inputs_.end() || to == outputs_.end())
            return;
        const ImageRef image = *(*from)->value().as<ImageRef>();
        const std::string name = path_.substr(path_.rfind('/') + 1);
        const bool usual = !image || image->extent().infinite || image->extent().empty();
        if (!usual && name == "Blur.qtz")
            (*to)->set(blurred(image));
        else if (!usual && name == "Image Resizer.qtz")
            (*to)->set(resized(image));
        else
            (*to)->set(image);
    }
    double number(const char* key, double usual) const
    {
        const InputPort* port = input(key);
        const double value = port ? *converted(port->value(), PortType::Number).as<double>() : usual;
        return std::isfinite(value) ? value : usual;
    }
    ImageRef blurred(const ImageRef& image) const
    {
        const Extent& e = image->extent();
        const bool clean = number("cleanEdge", 1) != 0;
        const std::vector<double> radius{std::clamp(number("amount", 0), 0.0, 10.0) * kBlurPixels};
        const ImageRef wide
            = clean ? filtered(*filterNamed("CIAffineClamp"), {image}, {0, 0, 1, 1, 0, 0, 0}, {}) : image;
        const ImageRef soft = filtered(*filterNamed("CIGaussianBlur"), {wide}, radius, {});
        return clean ? filtered(*filterNamed("CICrop"), {soft}, {e.x, e.y, e.width, e.height}, {}) : soft;
    }
    ImageRef resized(const ImageRef& image) const
    {
        const Extent& e = image->extent();
        const auto side = [](double pixels) { return std::clamp(std::floor(pixels), 1.0, 4096.0); };
        double x = side(number("targetWidth", e.width)) / e.width,
               y = side(number("targetHeight", e.height)) / e.height;
        if (const double mode = number("mode", 0); mode == 1 || mode == 2)
            x = y = mode == 1 ? std::min(x, y) : std::max(x, y);
        return filtered(*filterNamed("CIAffineTransform"), {image}, {e.x, e.y, x, y, 0, -e.x, -e.y}, {});
    }

    std::string folder_, path_, file_;
    std::shared_ptr<const Importing> importing_;
    bool draws_ = false;
    std::vector<InputPort*> inputs_;
    std::vector<OutputPort*> outputs_;
    Load<File> load_;
    std::unique_ptr<Imported> imported_;
};

} // namespace

void registerImporterPatches(PatchRegistry& registry)
{
    registry.family("Macros and what hands values on");
    registry.add<ImporterPatch>("QCPatchRenderer");
}

} // namespace vitrel::qc
