#include "platform/quartzcomposer/picturing/GraphPicture.h"

#include <graphviz/gvc.h>

#include <algorithm>
#include <cmath>
#include <type_traits>

#include <dlfcn.h>

namespace vitrel::qc {

namespace {

// What is used of it.
#define VITREL_GVC_FUNCTIONS(X) X(gvContext) X(gvLayout) X(gvRenderData) X(gvFreeRenderData) X(gvFreeLayout)
#define VITREL_CGRAPH_FUNCTIONS(X) X(agmemread) X(agclose) X(agseterrf) X(agseterr)

struct Graphviz {
#define VITREL_MEMBER(name) decltype(&::name) name;
    VITREL_GVC_FUNCTIONS(VITREL_MEMBER)
    VITREL_CGRAPH_FUNCTIONS(VITREL_MEMBER)
#undef VITREL_MEMBER
};

// Null if it isn't there. Never unloaded.
const Graphviz* loadGraphviz()
{
    static Graphviz library;
    void* const graphs = dlopen(VITREL_LIBCGRAPH, RTLD_NOW | RTLD_LOCAL);
    void* const drawing = dlopen(VITREL_LIBGVC, RTLD_NOW | RTLD_LOCAL);
    bool isWhole = graphs && drawing;
    const auto find = [&](void* file, const char* symbol, auto& function) {
        function = isWhole ? reinterpret_cast<std::decay_t<decltype(function)>>(dlsym(file, symbol)) : nullptr;
        isWhole = isWhole && function;
    };
#define VITREL_FIND(name) find(drawing, #name, library.name);
    VITREL_GVC_FUNCTIONS(VITREL_FIND)
#undef VITREL_FIND
#define VITREL_FIND(name) find(graphs, #name, library.name);
    VITREL_CGRAPH_FUNCTIONS(VITREL_FIND)
#undef VITREL_FIND
    return isWhole ? &library : nullptr;
}

// Dots an inch of a PNG: sharp on displays of today, and no larger than a picture may be. A layout counts 72 to the
// inch.
double dotsPerInch(double width, double height)
{
    constexpr double kSharp = 144, kPoints = 72, kMostPixels = 32e6, kMostSide = 16'000;
    const double area = std::max(1.0, width * height), side = std::max({1.0, width, height});
    return std::min({kSharp, kPoints * std::sqrt(kMostPixels / area), kPoints * kMostSide / side});
}

} // namespace

Result<Bytes, std::string> graphPicture(const std::string& text, GraphPictureKind kind)
{
    static const Graphviz* const graphviz = loadGraphviz();
    if (!graphviz)
        return std::string("Graphviz isn't installed");
    // Its warnings tell a user nothing.
    graphviz->agseterrf([](char*) { return 0; });
    graphviz->agseterr(AGMAX);
    // One for the process, never freed: its measurer of texts compares each typeface's name with the last one's, also
    // where that went with another context.
    static GVC_t* const context = graphviz->gvContext();
    Agraph_t* const graph = context ? graphviz->agmemread(text.c_str()) : nullptr;
    std::string problem = "Graphviz can't draw it";
    Bytes picture;
    if (graph && graphviz->gvLayout(context, graph, "dot") == 0) {
        if (kind == GraphPictureKind::PNG)
            GD_drawing(graph)->dpi
                = dotsPerInch(GD_bb(graph).UR.x - GD_bb(graph).LL.x, GD_bb(graph).UR.y - GD_bb(graph).LL.y);
        char* data = nullptr;
        unsigned size = 0;
        const char* const format = kind == GraphPictureKind::SVG ? "svg" : "png:cairo";
        if (graphviz->gvRenderData(context, graph, format, &data, &size) == 0 && data)
            picture.assign(data, data + size);
        graphviz->gvFreeRenderData(data);
        graphviz->gvFreeLayout(context, graph);
    }
    if (graph)
        graphviz->agclose(graph);
    if (picture.empty())
        return problem;
    return picture;
}

} // namespace vitrel::qc
