#include "platform/quartzcomposer/scene/Recording.h"

namespace vitrel::qc {

namespace {

// Of a fingerprint. What draws more moves, as a rule, and is drawn again.
constexpr std::size_t kLongest = 1u << 20;

template <class T> void append(std::string& to, const T& value)
{
    static_assert(std::is_trivially_copyable_v<T>);
    to.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// All there is: what were forgotten here would leave an old picture, so a new member doesn't compile.
void append(std::string& to, const Paint& paint)
{
    const auto& [image, mask, blending, depth, culling, colorMask, lineWidth, nearest, mayComeEarlier, discardsClear,
        colorEquation, alphaEquation, discardsUpTo, scissor]
        = paint;
    append(to, image ? image->number() : 0);
    append(to, mask ? mask->number() : 0);
    const auto appendAll = [&to](const auto&... members) { (append(to, members), ...); };
    appendAll(blending, depth, culling, colorMask, lineWidth, nearest, mayComeEarlier, discardsClear, colorEquation,
        alphaEquation, discardsUpTo, scissor.has_value(), scissor.value_or(PixelRectangle{}));
}

} // namespace

void Recording::clear(const NSColor& straight, bool color, bool depth, std::uint8_t colorMask)
{
    Call call;
    call.clears = true;
    call.color = straight;
    call.clearsColor = color;
    call.clearsDepth = depth;
    call.paint.colorMask = colorMask;
    calls_.push_back(std::move(call));
}

void Recording::draw(Primitive primitive, std::span<const CanvasVertex> vertices, const Paint& paint)
{
    Call call;
    call.primitive = primitive;
    call.paint = paint;
    call.first = vertices_.size();
    call.count = vertices.size();
    vertices_.insert(vertices_.end(), vertices.begin(), vertices.end());
    calls_.push_back(std::move(call));
}

bool Recording::drawShaded(Primitive primitive, std::span<const ShaderVertex> vertices, const ShaderUse& use,
    const ShaderSurroundings& around, const Paint& paint)
{
    Call call;
    call.primitive = primitive;
    call.paint = paint;
    call.shaded = std::make_shared<const ShadedCall>(ShadedCall{{vertices.begin(), vertices.end()}, use, around});
    calls_.push_back(std::move(call));
    hasShaded_ = true;
    return true;
}

// Only now it shows whether the program works. Without it the corners have their own colours, and no light.
void Recording::play(const Call& call, Canvas& canvas)
{
    const ShadedCall& shaded = *call.shaded;
    if (canvas.drawShaded(call.primitive, shaded.vertices, shaded.use, shaded.around, call.paint))
        return;
    const Matrix all = shaded.around.projection * shaded.around.modelView;
    std::vector<CanvasVertex> corners;
    for (const ShaderVertex& v : shaded.vertices) {
        const Vec4 p = all * Vec3{v.position[0], v.position[1], v.position[2]};
        corners.push_back({{float(p.x), float(p.y), float(p.z), float(p.w)}, {v.texture[0], v.texture[1]},
            {v.color[0], v.color[1], v.color[2], v.color[3]}});
    }
    canvas.draw(call.primitive, corners, call.paint);
}

void Recording::play(Canvas& canvas) const
{
    for (const Call& call : calls_) {
        if (call.clears)
            canvas.clear(call.color, call.clearsColor, call.clearsDepth, call.paint.colorMask);
        else if (call.shaded)
            play(call, canvas);
        else
            canvas.draw(call.primitive, std::span(vertices_).subspan(call.first, call.count), call.paint);
    }
}

std::string Recording::fingerprint() const
{
    std::string all;
    if (hasShaded_ || vertices_.size() * sizeof(CanvasVertex) + calls_.size() * 64 > kLongest)
        return all;
    append(all, width_);
    append(all, height_);
    for (const Call& call : calls_) {
        append(all, call.clears);
        append(all, call.color);
        append(all, call.clearsColor);
        append(all, call.clearsDepth);
        append(all, call.primitive);
        append(all, call.count);
        append(all, call.paint);
    }
    all.append(reinterpret_cast<const char*>(vertices_.data()), vertices_.size() * sizeof(CanvasVertex));
    return all;
}

} // namespace vitrel::qc
