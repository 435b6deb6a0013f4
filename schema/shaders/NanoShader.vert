#version 440

// Passes a shape's corners on, in the item's own coordinates.

layout(location = 0) in vec4 position;
layout(location = 1) in vec2 coordinate;

layout(location = 0) out vec2 shapeCoordinate;

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
    shapeCoordinate = coordinate * size;
    gl_Position = matrix * position;
}
