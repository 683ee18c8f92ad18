#version 440
layout(location = 0) in vec4 position;
layout(location = 1) in vec2 texturePoint;
layout(location = 0) out vec2 lumaPoint;
layout(location = 1) out vec2 chromaPoint;
layout(std140, binding = 0) uniform Values
{
    mat4 matrix;
    mat4 colour;
    vec4 chromaArea;
    float opacity;
};

void main()
{
    lumaPoint = texturePoint;
    chromaPoint = chromaArea.xy + texturePoint * chromaArea.zw;
    gl_Position = matrix * position;
}
