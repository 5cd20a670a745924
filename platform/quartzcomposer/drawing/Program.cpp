#include "platform/quartzcomposer/drawing/Program.h"

#include "platform/quartzcomposer/drawing/GLContext.h"

#include <epoxy/gl.h>

#include <utility>

namespace vitrel::qc {

namespace {

GLuint compiled(GLenum kind, const std::string& source)
{
    const GLuint shader = glCreateShader(kind);
    const std::string whole = "#version 330 core\n" + source;
    const char* text = whole.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint good = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &good);
    if (good)
        return shader;
    glDeleteShader(shader);
    return 0;
}

} // namespace

Program::Program(const std::string& vertex, const std::string& fragment)
{
    if (const GLContext* context = GLContext::current())
        generation_ = context->generation();
    const GLuint shaders[] = {compiled(GL_VERTEX_SHADER, vertex), compiled(GL_FRAGMENT_SHADER, fragment)};
    if (shaders[0] && shaders[1]) {
        name_ = glCreateProgram();
        for (const GLuint shader : shaders)
            glAttachShader(name_, shader);
        glBindAttribLocation(name_, 0, "position");
        glBindAttribLocation(name_, 1, "texture0");
        glBindAttribLocation(name_, 2, "color");
        for (const auto& [index, attribute] :
            {std::pair(0u, "qc_vertex"), {1u, "qc_texture"}, {2u, "qc_color"}, {3u, "qc_normal"}})
            glBindAttribLocation(name_, index, attribute);
        glLinkProgram(name_);
        GLint good = 0;
        glGetProgramiv(name_, GL_LINK_STATUS, &good);
        if (!good) {
            glDeleteProgram(name_);
            name_ = 0;
        }
    }
    for (const GLuint shader : shaders)
        glDeleteShader(shader); // 0 is ignored
}

Program::~Program()
{
    const GLContext* context = name_ ? GLContext::current() : nullptr;
    if (context && context->generation() == generation_)
        glDeleteProgram(name_);
}

void Program::use() const
{
    glUseProgram(name_);
}

int Program::uniform(const std::string& name) const
{
    const auto found = uniforms_.find(name);
    if (found != uniforms_.end())
        return found->second;
    return uniforms_[name] = glGetUniformLocation(name_, name.c_str());
}

void setVertexAttribute(unsigned index, int size, std::size_t stride, std::size_t offset)
{
    glEnableVertexAttribArray(index);
    glVertexAttribPointer(
        index, size, GL_FLOAT, GL_FALSE, static_cast<GLsizei>(stride), reinterpret_cast<const void*>(offset));
}

} // namespace vitrel::qc
