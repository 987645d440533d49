// The amplitude spectrum of real samples, by the fast Fourier transform of J. W. Cooley and J. W. Tukey (1965).

function transform(real, imaginary) {
    const n = real.length;
    for (let i = 1, j = 0; i < n; ++i) {
        let bit = n >> 1;
        for (; j & bit; bit >>= 1) j ^= bit;
        j ^= bit;
        if (i < j) {
            [real[i], real[j]] = [real[j], real[i]];
            [imaginary[i], imaginary[j]] = [imaginary[j], imaginary[i]];
        }
    }
    for (let size = 2; size <= n; size *= 2) {
        const half = size / 2;
        for (let k = 0; k < half; ++k) {
            const angle = (-2 * Math.PI * k) / size, c = Math.cos(angle), s = Math.sin(angle);
            for (let i = k; i < n; i += size) {
                const j = i + half, x = real[j] * c - imaginary[j] * s, y = real[j] * s + imaginary[j] * c;
                real[j] = real[i] - x;
                imaginary[j] = imaginary[i] - y;
                real[i] += x;
                imaginary[i] += y;
            }
        }
    }
}

// Power, relative to that of a sine of amplitude 1, of n / 2 frequencies, under von Hann's window.
export function powerSpectrum(samples) {
    const n = samples.length, real = new Float64Array(n), imaginary = new Float64Array(n);
    for (let i = 0; i < n; ++i) {
        const value = Number.isFinite(samples[i]) ? samples[i] : 0;
        real[i] = value * (0.5 - 0.5 * Math.cos((2 * Math.PI * i) / n));
    }
    transform(real, imaginary);
    const power = new Float64Array(n / 2);
    // A sine of amplitude 1 on a frequency gives n / 4: half of the window's sum.
    for (let k = 0; k < n / 2; ++k) power[k] = (real[k] ** 2 + imaginary[k] ** 2) / (n / 4) ** 2;
    power[0] /= 4;
    return power;
}
