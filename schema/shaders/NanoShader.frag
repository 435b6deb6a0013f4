#version 440

// Fills a rounded rectangle with one colour and a soft edge of one pixel.

layout(location = 0) in vec2 shapeCoordinate;

layout(location = 0) out vec4 fragment;

layout(std140, binding = 0) uniform Shape
{
    mat4 matrix;
    vec4 color;
    vec2 size;
    float radius;
    float opacity;
};

void main()
{
    vec2 middle = size * 0.5;
    vec2 corner = abs(shapeCoordinate - middle) - middle + vec2(radius);
    float outside = length(max(corner, vec2(0.0))) + min(max(corner.x, corner.y), 0.0) - radius;
    fragment = color * (opacity * clamp(0.5 - outside, 0.0, 1.0));
}
