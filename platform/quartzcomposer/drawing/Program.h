#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>

namespace vitrel::qc {

// A linked shader program; deleted with the object. Main thread, with the context current.
class Program
{
public:
    // Broken shaders give a program that isn't valid.
    Program(const std::string& vertex, const std::string& fragment);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    bool valid() const { return name_ != 0; }
    void use() const;
    // -1 for a uniform that isn't there; setting that is harmless.
    int uniform(const std::string& name) const;

private:
    unsigned name_ = 0;
    std::uint64_t generation_ = 0;
    mutable std::unordered_map<std::string, int> uniforms_;
};

// Number `index` of what the bound array and buffer give a vertex: `size` floats, `offset` bytes within `stride`.
void setVertexAttribute(unsigned index, int size, std::size_t stride, std::size_t offset);

} // namespace vitrel::qc
