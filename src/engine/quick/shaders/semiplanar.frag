#version 440
layout(location = 0) in vec2 lumaPoint;
layout(location = 1) in vec2 chromaPoint;
layout(location = 0) out vec4 fragment;
layout(std140, binding = 0) uniform Values
{
    mat4 matrix;
    mat4 colour;
    vec4 chromaArea;
    float opacity;
};
layout(binding = 1) uniform sampler2D luma;
layout(binding = 2) uniform sampler2D differences;

void main()
{
    vec4 samples = vec4(texture(luma, lumaPoint).r, texture(differences, chromaPoint).rg, 1.0);
    fragment = vec4((colour * samples).rgb, 1.0) * opacity;
}
