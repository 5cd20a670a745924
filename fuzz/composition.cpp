// A composition file: read, built, played for a few frames without a picture, and taken through its text form.
#include "platform/quartzcomposer/file/TextForm.h"
#include "platform/quartzcomposer/graph/CompositionGraph.h"
#include "platform/quartzcomposer/picturing/DiagramText.h"

#include <cstdlib>

namespace {

using namespace vitrel;

void play(const qc::CompositionFile& file)
{
    static const auto* const registry = new qc::PatchRegistry(qc::allPatches());
    qc::CompositionGraph graph(file, *registry);
    qc::NullCanvas canvas(320, 180);
    qc::Stage stage(canvas);
    const auto inputs = graph.inputs();
    int frame = 0;
    for (const double time : {0.0, 0.1, 2.0, 1.5, 1000.0}) {
        for (std::size_t k = 0; k < inputs.size() && k < 8; ++k)
            graph.setInput(inputs[k].key, frame % 2 ? Value(time) : Value("text"));
        graph.frame(stage, time, Date::fromReferenceDate(time));
        const auto outputs = graph.outputs();
        for (std::size_t k = 0; k < outputs.size() && k < 128; ++k)
            qc::hostValue(graph.output(outputs[k].key, stage));
        ++frame;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto file = qc::readComposition({data, size});
    if (!file)
        return 0;
    play(*file);
    if (const auto diagram = qc::diagramOf(*file, qc::allPatches(), {}))
        qc::diagramText(*diagram, "x");
    const std::string text = qc::textForm(*file);
    if (text.empty())
        return 0;
    const auto made = qc::compositionFromText(text, "/nowhere");
    const auto again = qc::compositionOfPropertyList(made ? *made : Value());
    // What the form holds, it holds for good.
    if (again
        && qc::textForm(*again)
            != qc::textForm(*qc::compositionOfPropertyList(*qc::compositionFromText(qc::textForm(*again), "/nowhere"))))
        std::abort();
    return 0;
}
