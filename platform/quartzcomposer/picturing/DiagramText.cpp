#include "platform/quartzcomposer/picturing/DiagramText.h"

#include "base/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace vitrel::qc {

namespace {

struct Tone {
    const char *fill, *border, *text;
};
constexpr const char* kGround = "#fbfaf7";
constexpr const char* kInk = "#2b2f36";
constexpr const char* kFaint = "#8a8f98";
constexpr const char* kFont = "Inter,Noto Sans,sans-serif";
constexpr std::array<const char*, 3> kFrames{"#f3f2ec", "#eceae2", "#e4e2d8"}; // by their depth

Tone toneOf(Diagram::Kind kind)
{
    switch (kind) {
    case Diagram::Kind::Consumer:
        return {"#fdf1dd", "#d79b3f", "#7d5312"};
    case Diagram::Kind::Macro:
        return {"#e6f1e8", "#6f9f7c", "#2f5c3b"};
    case Diagram::Kind::Unknown:
        return {"#fbe6e4", "#cf6a60", "#8c2a21"};
    case Diagram::Kind::Input:
    case Diagram::Kind::Output:
        return {"#e3ebf6", "#6d8fc0", "#2c4c7c"};
    case Diagram::Kind::Processor:
        break;
    }
    return {"#ffffff", "#b4bac3", kInk};
}

const char* colorOf(PortType type)
{
    switch (type) {
    case PortType::Boolean:
        return "#b07aa1";
    case PortType::Index:
        return "#4f9b98";
    case PortType::Number:
        return "#4e79a7";
    case PortType::String:
        return "#c98a1b";
    case PortType::Color:
        return "#d1495b";
    case PortType::Image:
        return "#4f9a4a";
    case PortType::Structure:
        return "#8c6d5a";
    case PortType::Mesh:
        return "#6a5acd";
    default:
        return "#9aa0a6";
    }
}

// As text between the tags of a label: what the language's reader, which is one of XML, takes.
std::string escaped(const std::string& text)
{
    constexpr std::size_t kLongest = 120; // bytes, of names; values are cut before
    std::string out;
    const std::string whole = repairedUtf8(text);
    for (std::size_t at = 0; at < whole.size(); ++at) {
        const auto byte = static_cast<unsigned char>(whole[at]);
        if (at >= kLongest && (byte & 0xC0) != 0x80)
            return out + "\u2026";
        if (byte == '&')
            out += "&amp;";
        else if (byte == '<')
            out += "&lt;";
        else if (byte == '>')
            out += "&gt;";
        else if (byte == '"')
            out += "&quot;";
        else if (whole.compare(at, 2, "\xEF\xBF") == 0 && at + 2 < whole.size()
            && static_cast<unsigned char>(whole[at + 2]) >= 0xBE)
            at += 2; // no characters of XML
        else
            out += byte < 0x20 || byte == 0x7F ? ' ' : whole[at];
    }
    return out.find_first_not_of(' ') == out.npos ? "&nbsp;" : out;
}

// A font, and the text in it.
std::string styled(const std::string& text, int size, const char* color, bool isBold = false)
{
    const std::string inner = isBold ? "<b>" + text + "</b>" : text;
    return "<font point-size=\"" + std::to_string(size) + "\" color=\"" + color + "\">" + inner + "</font>";
}

class Writer
{
public:
    explicit Writer(const Diagram& diagram)
        : diagram_(diagram)
    { }
    std::string write(const std::string& title);

private:
    void frame(const Diagram::Frame& frame, std::size_t depth);
    void box(std::size_t place);
    void edge(const Diagram::Edge& edge);
    std::string head(const Diagram::Box& box, const Tone& tone) const;
    static std::string inputCell(const Diagram::Port& port, std::size_t number);
    static std::string outputCell(const Diagram::Port& port, std::size_t number);
    std::string legend(const std::string& title) const;

    const Diagram& diagram_;
    std::string out_;
    int frames_ = 0;
};

std::string Writer::head(const Diagram::Box& box, const Tone& tone) const
{
    std::string head = styled(escaped(box.name), 12, tone.text, true);
    std::string below = box.title == box.name ? std::string() : escaped(box.title);
    const auto more = [&](const std::string& text) { below += (below.empty() ? "" : " \u00B7 ") + text; };
    if (box.kind == Diagram::Kind::Unknown)
        more("not supported");
    if (box.inside > 0)
        more(std::to_string(box.inside) + (box.inside == 1 ? " patch inside" : " patches inside"));
    if (box.layer > 0)
        more("layer " + std::to_string(box.layer));
    if (!below.empty())
        head += "<br/>" + styled(below, 9, kFaint);
    if (!box.detail.empty())
        head += "<br/>" + styled(escaped(valueLabel(PortValue(box.detail))), 9, kInk);
    return head;
}

std::string Writer::inputCell(const Diagram::Port& port, std::size_t number)
{
    std::string cell = "<td align=\"left\" port=\"i" + std::to_string(number) + "\">"
        + styled("\u25CF", 7, colorOf(port.type)) + " " + styled(escaped(port.label), 10, kInk);
    if (port.color) {
        // As it looks on the light ground.
        const auto part = [&](double c) {
            const double alpha = std::clamp(port.color->alpha, 0.0, 1.0);
            return unsigned(std::lround((std::clamp(c, 0.0, 1.0) * alpha + 1 - alpha) * 255));
        };
        char swatch[8];
        std::snprintf(swatch, sizeof swatch, "#%02x%02x%02x", part(port.color->red), part(port.color->green),
            part(port.color->blue));
        cell += " " + styled("\u25A0", 11, swatch);
    }
    if (!port.value.empty())
        cell += " " + styled(escaped(port.value), 9, kFaint);
    if (!port.published.empty())
        cell += " " + styled("\u25C2 " + escaped(port.published), 9, "#2c4c7c");
    return cell + "</td>";
}

std::string Writer::outputCell(const Diagram::Port& port, std::size_t number)
{
    std::string cell = "<td align=\"right\" port=\"o" + std::to_string(number) + "\">";
    if (!port.published.empty())
        cell += styled(escaped(port.published) + " \u25C2", 9, "#2c4c7c") + " ";
    return cell + styled(escaped(port.label), 10, kInk) + " " + styled("\u25CF", 7, colorOf(port.type)) + "</td>";
}

void Writer::box(std::size_t place)
{
    const Diagram::Box& box = diagram_.boxes[place];
    const Tone tone = toneOf(box.kind);
    out_ += "n" + std::to_string(place) + " [";
    if (box.kind == Diagram::Kind::Input || box.kind == Diagram::Kind::Output) {
        out_ += std::string("shape=box, style=\"rounded,filled\", margin=\"0.14,0.05\", height=0.2, fillcolor=\"")
            + tone.fill + "\", color=\"" + tone.border + "\", label=<" + styled(escaped(box.name), 11, tone.text, true)
            + ">];\n";
        return;
    }
    out_ += std::string("label=<<table border=\"1\" cellborder=\"0\" cellspacing=\"0\" cellpadding=\"3\" "
                        "style=\"rounded\" bgcolor=\"")
        + tone.fill + "\" color=\"" + tone.border + "\"><tr><td colspan=\"2\" port=\"h\" cellpadding=\"5\">"
        + head(box, tone) + "</td></tr>";
    const std::size_t rows = std::max(box.inputs.size(), box.outputs.size());
    if (rows > 0 || box.leftOut > 0)
        out_ += "<hr/>";
    for (std::size_t k = 0; k < rows; ++k) {
        out_ += "<tr>";
        out_ += k < box.inputs.size() ? inputCell(box.inputs[k], k) : "<td></td>";
        out_ += k < box.outputs.size() ? outputCell(box.outputs[k], k) : "<td></td>";
        out_ += "</tr>";
    }
    if (box.leftOut > 0)
        out_ += "<tr><td align=\"left\" colspan=\"2\">"
            + styled("\u2026 and " + std::to_string(box.leftOut) + " more values", 9, kFaint) + "</td></tr>";
    out_ += "</table>>];\n";
}

void Writer::frame(const Diagram::Frame& frame, std::size_t depth)
{
    for (const std::size_t place : frame.boxes)
        box(place);
    for (const Diagram::Frame& inner : frame.frames) {
        out_ += "subgraph cluster_" + std::to_string(frames_++) + " {\nstyle=\"rounded,filled\"; fillcolor=\""
            + kFrames[std::min(depth, kFrames.size() - 1)] + "\"; color=\"" + (inner.layer > 0 ? "#dcb97c" : "#cfccbf")
            + "\"; margin=14; labelloc=t; labeljust=l; label=<" + styled(escaped(inner.name), 13, kInk, true);
        std::string below = inner.title == inner.name ? std::string() : escaped(inner.title);
        if (inner.layer > 0)
            below += (below.empty() ? "layer " : " \u00B7 layer ") + std::to_string(inner.layer);
        if (!below.empty())
            out_ += "  " + styled(below, 10, kFaint);
        out_ += ">;\n";
        this->frame(inner, depth + 1);
        out_ += "}\n";
    }
}

void Writer::edge(const Diagram::Edge& edge)
{
    const auto portOf = [](const std::vector<Diagram::Port>& ports, const std::string& key, char side) {
        const auto found
            = std::find_if(ports.begin(), ports.end(), [&](const Diagram::Port& port) { return port.key == key; });
        return found == ports.end() ? std::string(":h")
                                    : ":" + std::string(1, side) + std::to_string(found - ports.begin());
    };
    const Diagram::Box &from = diagram_.boxes[edge.from], &to = diagram_.boxes[edge.to];
    out_ += "n" + std::to_string(edge.from)
        + (from.kind == Diagram::Kind::Input ? std::string() : portOf(from.outputs, edge.output, 'o')) + ":e -> n"
        + std::to_string(edge.to)
        + (to.kind == Diagram::Kind::Output ? std::string() : portOf(to.inputs, edge.input, 'i')) + ":w [color=\""
        + colorOf(edge.type) + "\"];\n";
}

std::string Writer::legend(const std::string& title) const
{
    std::string legend = styled("&nbsp;", 15, kInk) + "<br align=\"left\"/>" + styled(escaped(title), 15, kInk, true)
        + "<br align=\"left\"/>";
    std::array<bool, 16> used{};
    for (const auto& edge : diagram_.edges)
        used[static_cast<std::size_t>(edge.type)] = true;
    for (std::size_t k = 0; k < used.size(); ++k) {
        if (used[k])
            legend += styled("\u2501", 12, colorOf(PortType(k))) + " " + styled(nameOf(PortType(k)), 10, kInk) + "   ";
    }
    std::array<bool, 6> kinds{};
    for (const auto& box : diagram_.boxes)
        kinds[static_cast<std::size_t>(box.kind)] = true;
    const std::pair<Diagram::Kind, const char*> words[]
        = {{Diagram::Kind::Consumer, "draws"}, {Diagram::Kind::Macro, "macro"},
            {Diagram::Kind::Unknown, "not supported"}, {Diagram::Kind::Input, "published"}};
    for (const auto& [kind, word] : words) {
        if (kinds[static_cast<std::size_t>(kind)])
            legend += styled("\u25A0", 11, toneOf(kind).border) + " " + styled(word, 10, kInk) + "   ";
    }
    return legend + "<br align=\"left\"/>";
}

std::string Writer::write(const std::string& title)
{
    // Curves around every box are dear: beyond this, corners do, and then straight lines.
    constexpr std::size_t kCurves = 250, kCorners = 700;
    const std::size_t size = diagram_.boxes.size() + diagram_.edges.size() / 2;
    const char* const lines = size <= kCurves ? "true" : size <= kCorners ? "polyline" : "line";
    out_ = std::string("digraph composition {\nrankdir=LR; charset=\"UTF-8\"; bgcolor=\"") + kGround
        + "\"; pad=0.4; nodesep=0.16; ranksep=0.55; splines=" + lines + "; fontname=\"" + kFont
        + "\"; labelloc=b; labeljust=l; ";
    if (size > kCurves)
        out_ += "nslimit=1; nslimit1=1; mclimit=0.2; searchsize=10; ";
    out_ += "label=<" + legend(title) + ">;\nnode [shape=plain, fontname=\"" + kFont
        + "\", fontsize=10];\nedge [penwidth=1.3, arrowsize=0.5, arrowhead=none];\n";
    frame(diagram_.root, 0);
    for (const auto& each : diagram_.edges)
        edge(each);
    return out_ + "}\n";
}

} // namespace

std::string diagramText(const Diagram& diagram, const std::string& title)
{
    return Writer(diagram).write(title);
}

} // namespace vitrel::qc
