#include "platform/appkit/controls/NSNib.h"

#include "platform/appkit/NSWindow.h"
#include "platform/appkit/controls/NSButton.h"
#include "platform/appkit/controls/NSTableView.h"
#include "platform/appkit/controls/NSTextField.h"
#include "platform/appkit/controls/NSWindowController.h"

#include <expat.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

namespace vitrel {
namespace {

// A settings window is some kilobytes and a few layouts deep; what is larger wasn't made for one.
constexpr std::size_t kMostBytes = std::size_t(1) << 20;
constexpr int kMostDepth = 200;

using Texts = std::map<std::string, std::string>;

std::shared_ptr<NSView> viewOfClass(const std::string& name)
{
    if (name == "QLabel" || name == "QLineEdit") {
        auto field = std::make_shared<NSTextField>();
        field->setEditable(name == "QLineEdit");
        return field;
    }
    if (name == "QPushButton" || name == "QToolButton" || name == "QCheckBox")
        return std::make_shared<NSButton>();
    if (name == "QComboBox")
        return std::make_shared<NSPopUpButton>();
    if (name == "QTableView" || name == "QListView")
        return std::make_shared<NSTableView>();
    return std::make_shared<NSView>();
}

// One widget while it is open: what it is called, its properties, the entries and widgets in it.
struct Widget {
    std::string className, name;
    Texts properties;
    std::vector<std::string> entries;
    std::vector<std::shared_ptr<NSView>> subviews;
};

class Reader
{
public:
    // Null for what is no form.
    std::shared_ptr<NSView> read(ByteView form, std::string& title)
    {
        const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate("UTF-8"), XML_ParserFree);
        if (!parser || form.size() > kMostBytes)
            return nullptr;
        parser_ = parser.get();
        XML_SetUserData(parser_, this);
        XML_SetElementHandler(parser_, &Reader::start, &Reader::end);
        XML_SetCharacterDataHandler(parser_, &Reader::characters);
        // A form declares nothing; what does wants to nest entities deeper than the stack, or to grow each element.
        XML_SetEntityDeclHandler(parser_,
            [](void* context, const char*, int, const char*, int, const char*, const char*, const char*, const char*) {
                XML_StopParser(self(context).parser_, XML_FALSE);
            });
        XML_SetAttlistDeclHandler(parser_, [](void* context, const char*, const char*, const char*, const char*, int) {
            XML_StopParser(self(context).parser_, XML_FALSE);
        });
        const auto* text = reinterpret_cast<const char*>(form.data());
        const bool whole = XML_Parse(parser_, text, static_cast<int>(form.size()), 1) == XML_STATUS_OK;
        title = title_;
        return whole ? root_ : nullptr;
    }

    // What is to be bound once the whole form was read.
    struct Binding {
        std::string name, action;
        std::shared_ptr<NSView> view;
    };
    const std::vector<Binding>& bindings() const { return bindings_; }

private:
    static Reader& self(void* context) { return *static_cast<Reader*>(context); }
    static std::string attribute(const char** attributes, std::string_view name)
    {
        for (; *attributes; attributes += 2) {
            if (*attributes == name)
                return attributes[1];
        }
        return {};
    }

    static void start(void* context, const char* element, const char** attributes)
    {
        Reader& reader = self(context);
        const std::string_view name = element;
        if (++reader.depth_ > kMostDepth)
            XML_StopParser(reader.parser_, XML_FALSE);
        reader.text_.clear();
        if (name == "widget")
            reader.open_.push_back({attribute(attributes, "class"), attribute(attributes, "name"), {}, {}, {}});
        else if (name == "property")
            reader.property_ = attribute(attributes, "name");
    }

    static void end(void* context, const char* element)
    {
        Reader& reader = self(context);
        const std::string_view name = element;
        --reader.depth_;
        if (reader.open_.empty())
            return;
        Widget& widget = reader.open_.back();
        if (name == "property") {
            reader.property_.clear();
        } else if (name == "string" || name == "bool") {
            // An entry of a pop-up button is an item with the property of a text.
            if (widget.className == "QComboBox" && reader.property_ == "text")
                widget.entries.push_back(reader.text_);
            else if (!reader.property_.empty())
                widget.properties[reader.property_] = reader.text_;
        } else if (name == "widget") {
            const Widget done = std::move(widget);
            reader.open_.pop_back();
            reader.finish(done);
        }
        reader.text_.clear();
    }

    static void characters(void* context, const char* text, int length)
    {
        self(context).text_.append(text, static_cast<std::size_t>(length));
    }

    void finish(const Widget& widget)
    {
        const auto text = [&](const char* name) {
            const auto found = widget.properties.find(name);
            return found == widget.properties.end() ? std::string() : found->second;
        };
        const std::shared_ptr<NSView> view
            = text("search") == "true" ? std::make_shared<NSSearchField>() : viewOfClass(widget.className);
        if (const auto field = std::dynamic_pointer_cast<NSTextField>(view)) {
            field->setStringValue(text("text"));
            field->setEditable(widget.className == "QLineEdit");
            if (widget.properties.contains("placeholderText"))
                field->setPlaceholderString(text("placeholderText"));
        }
        if (const auto button = std::dynamic_pointer_cast<NSButton>(view))
            button->setTitle(text("text"));
        if (const auto popUp = std::dynamic_pointer_cast<NSPopUpButton>(view)) {
            for (const auto& entry : widget.entries)
                popUp->addItem(NSMenuItem::initWithTitleActionKeyEquivalent(entry, {}, ""));
        }
        if (const auto table = std::dynamic_pointer_cast<NSTableView>(view)) {
            const auto column = std::make_shared<NSTableColumn>();
            column->setTitle(text("columnTitle"));
            if (widget.properties.contains("columnIdentifier"))
                column->setIdentifier(text("columnIdentifier"));
            table->addTableColumn(column);
        }
        if (widget.properties.contains("identifier"))
            view->setIdentifier(text("identifier"));
        if (widget.properties.contains("toolTip"))
            view->setToolTip(text("toolTip"));
        for (const auto& subview : widget.subviews)
            view->addSubview(subview);
        bindings_.push_back({widget.name, text("action"), view});
        if (open_.empty()) {
            root_ = view;
            title_ = text("windowTitle");
        } else {
            open_.back().subviews.push_back(view);
        }
    }

    XML_Parser parser_ = nullptr;
    int depth_ = 0;
    std::string property_, text_, title_;
    std::vector<Widget> open_;
    std::shared_ptr<NSView> root_;
    std::vector<Binding> bindings_;
};

} // namespace

bool loadNibData(ByteView form, NSWindow& window, NSWindowController& owner)
{
    Reader reader;
    std::string title;
    const auto root = reader.read(form, title);
    if (!root)
        return false;
    window.setTitle(title);
    const auto views = root->subviews();
    for (const auto& view : views)
        window.contentView()->addSubview(view);
    for (const auto& [name, action, view] : reader.bindings()) {
        if (const auto control = std::dynamic_pointer_cast<NSControl>(view); control && !action.empty()) {
            if (const auto selector = owner.actionNamed(action)) {
                control->setTarget(owner.shared_from_this());
                control->setAction(*selector);
            }
        }
        owner.setOutlet(name, view);
    }
    return true;
}

bool loadNib(const std::string& path, NSWindow& window, NSWindowController& owner)
{
    std::ifstream file(path, std::ios::binary);
    std::string text(kMostBytes + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(std::max<std::streamsize>(0, file.gcount())));
    return loadNibData(bytesOf(text), window, owner);
}

} // namespace vitrel
