// Compiled with -O2 and the flags of native kernels, whatever the rest is compiled with.

#include "reference_loops.h"

#include <math.h>

void ref_saxpy(float a, const float* x, float* y, size_t begin, size_t end) {
    for (size_t i = begin; i < end; ++i) y[i] = a * x[i] + y[i];
}

void ref_mandelbrot(uint32_t* out, size_t width, float scale, int32_t limit, size_t begin,
                    size_t end) {
    for (size_t i = begin; i < end; ++i) {
        const float cx = (float)(i % width) * scale - 2.0f, cy = (float)(i / width) * scale - 1.5f;
        float x = 0, y = 0;
        int32_t n = 0;
        while (n < limit && x * x + y * y < 4.0f) {
            const float t = x * x - y * y + cx;
            y = 2.0f * x * y + cy;
            x = t;
            ++n;
        }
        out[i] = (uint32_t)n;
    }
}

void ref_blur(const uint8_t* in, uint8_t* out, size_t width, size_t height, size_t begin,
              size_t end) {
    for (size_t i = begin; i < end; ++i) {
        const size_t x = i % width, y = i / width;
        if (x == 0 || y == 0 || x + 1 >= width || y + 1 >= height) {
            out[i] = in[i];
            continue;
        }
        int32_t sum = 0;
        for (size_t row = i - width; row <= i + width; row += width) {
            sum += in[row - 1] + in[row] + in[row + 1];
        }
        out[i] = (uint8_t)(sum / 9);
    }
}

// As the kernel does it, with atomic counts, since several threads share the bins.
void ref_histogram(const uint8_t* in, uint32_t* bins, size_t begin, size_t end) {
    for (size_t i = begin; i < end; ++i) __atomic_fetch_add(&bins[in[i]], 1u, __ATOMIC_RELAXED);
}

float ref_sum(const float* x, size_t begin, size_t end) {
    float sum = 0;
    for (size_t i = begin; i < end; ++i) sum += x[i];
    return sum;
}

void ref_nbody(const float* pos, float* force, size_t count, size_t begin, size_t end) {
    for (size_t i = begin; i < end; ++i) {
        const float mx = pos[4 * i], my = pos[4 * i + 1], mz = pos[4 * i + 2];
        float fx = 0, fy = 0, fz = 0;
        for (size_t j = 0; j < count; ++j) {
            const float dx = pos[4 * j] - mx, dy = pos[4 * j + 1] - my, dz = pos[4 * j + 2] - mz;
            const float r = 1.0f / sqrtf(dx * dx + dy * dy + dz * dz + 0.01f);
            const float k = pos[4 * j + 3] * r * r * r;
            fx += dx * k;
            fy += dy * k;
            fz += dz * k;
        }
        force[4 * i] = fx;
        force[4 * i + 1] = fy;
        force[4 * i + 2] = fz;
    }
}

void ref_blend(const uint8_t* top, uint8_t* bottom, size_t begin, size_t end) {
    for (size_t i = begin; i < end; ++i) {
        const int32_t a = top[4 * i + 3];
        for (size_t c = 0; c < 3; ++c) {
            const int32_t mixed = top[4 * i + c] * a + bottom[4 * i + c] * (255 - a);
            bottom[4 * i + c] = (uint8_t)(mixed / 255);
        }
        bottom[4 * i + 3] = (uint8_t)(a + bottom[4 * i + 3] * (255 - a) / 255);
    }
}

static uint8_t channel(float v) {
    return (uint8_t)(v < 0.0f ? 0.0f : v > 255.0f ? 255.0f : v);
}

void ref_effect(const uint8_t* in, uint8_t* out, size_t width, float level, float tint,
                size_t begin, size_t end) {
    for (size_t i = begin; i < end; ++i) {
        const float x = (float)(i % width) * 0.001f - 0.96f,
                    y = (float)(i / width) * 0.001f - 0.54f;
        const float v = 1.0f - (x * x + y * y) * level, red = in[4 * i];
        out[4 * i] = channel(red * v + tint);
        out[4 * i + 1] = channel((float)in[4 * i + 1] * v + red * 0.1f);
        out[4 * i + 2] = channel((float)in[4 * i + 2] * v - tint);
        out[4 * i + 3] = in[4 * i + 3];
    }
}
