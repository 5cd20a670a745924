// A kernel's source, or with a line of dashes in it a vertex and a fragment shader: what is made of them stays small.
#include "platform/quartzcomposer/shading/Kernel.h"
#include "platform/quartzcomposer/shading/Shader.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace vitrel::qc;
    constexpr std::size_t kMost = 4u << 20;
    const std::string_view text{reinterpret_cast<const char*>(data), size};
    if (const auto kernels = translatedKernels(text)) {
        for (const auto& kernel : *kernels) {
            if (kernel->fragment.size() > kMost || kernel->work > 1e6 || kernel->reads > 1e4)
                std::abort();
        }
    }
    constexpr std::string_view kBetween = "\n----\n";
    const std::size_t at = text.find(kBetween);
    const auto shader = at == text.npos ? translatedShader("", text)
                                        : translatedShader(text.substr(0, at), text.substr(at + kBetween.size()));
    if (shader && shader->vertex.size() + shader->fragment.size() > kMost)
        std::abort();
    return 0;
}
