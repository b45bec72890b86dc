#pragma once

// The benchmark's kernels as anybody would write them in C, from `begin` to below `end`.

#include <stddef.h>
#include <stdint.h>

void ref_saxpy(float a, const float* x, float* y, size_t begin, size_t end);
void ref_mandelbrot(uint32_t* out, size_t width, float scale, int32_t limit, size_t begin,
                    size_t end);
void ref_blur(const uint8_t* in, uint8_t* out, size_t width, size_t height, size_t begin,
              size_t end);
void ref_histogram(const uint8_t* in, uint32_t* bins, size_t begin, size_t end);
float ref_sum(const float* x, size_t begin, size_t end);
void ref_nbody(const float* pos, float* force, size_t count, size_t begin, size_t end);
void ref_effect(const uint8_t* in, uint8_t* out, size_t width, float level, float tint,
                size_t begin, size_t end);
void ref_blend(const uint8_t* top, uint8_t* bottom, size_t begin, size_t end);
