#pragma once

#include "platform/quartzcomposer/scene/Stage.h"

#include <string>

namespace vitrel {

// A few small lines over the lower left corner of a picture, for whoever makes the composition. Main thread.
class Notice
{
public:
    // Empty for none.
    void set(std::string text);
    bool isEmpty() const { return text_.empty(); }
    // Over all that was drawn on the stage in this frame.
    void draw(qc::Stage& stage);

private:
    std::string text_;
    qc::ImageRef image_; // of the text, for a picture of this width
    int width_ = 0;
};

} // namespace vitrel
