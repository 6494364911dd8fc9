// One axis of a convolution: what of the picture and of the kernel has part in it, and the length that it is done in.
#pragma once

// Kernel samples that reach from no lit pixel into the picture are left out. What the circular convolution wraps around
// falls behind the picture's end.
struct FFTAxis {
    int size = 0;               // of the picture
    int first = 0, lit = 0;     // where its lit pixels begin, and how many there are
    int before = 0, after = 0;  // kernel samples on either side of its centre
    int skipped = 0;            // kernel samples in front of those
    int padded = 0;             // 0: too large
    int samples() const { return before + 1 + after; }
};

// For lit pixels [first, last] and a kernel of so many samples; padded(n): the length not below n that is used, or 0.
FFTAxis fft_axis(int size, int first, int last, int kernel, int (*padded)(int));
