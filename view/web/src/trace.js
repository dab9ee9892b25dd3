// The last minutes of a job's actual value, at the rate at which it is measured.

const SECONDS = 300;

export class Trace {
    constructor(fRate_Hz) {
        this.capacity = Math.max(16, Math.ceil((fRate_Hz || 1) * SECONDS));
        this.values = new Float64Array(this.capacity).fill(NaN);
        this.step = 1000 / (fRate_Hz || 1); // ms
        this.next = 0; // number of values since the beginning of the grid
        this.count = 0;
        this.origin = null; // ms of value number 0
    }

    get newest_ms() {
        return this.origin === null ? null : this.origin + (this.next - 1) * this.step;
    }

    /// Takes a block over. What is there already is kept once; a hole is filled with NaN; null means no valid value.
    add({ begin_ms: tBegin, step_ms: fStep, values }) {
        if (!values.length) return;
        if (this.origin === null || Math.abs(fStep - this.step) > 1e-6 || tBegin < this.origin) this.clear(tBegin, fStep);
        const at = Math.round((tBegin - this.origin) / this.step);
        if (at - this.next >= this.capacity || at + values.length < this.next - this.capacity) {
            this.clear(tBegin, fStep);
            this.add({ begin_ms: tBegin, step_ms: fStep, values });
            return;
        }
        while (this.next < at) this.push(NaN);
        for (let i = this.next - at; i < values.length; i++) this.push(values[i] ?? NaN);
    }

    clear(tBegin, fStep) {
        if (Math.abs(fStep - this.step) > 1e-6) {
            this.step = fStep;
            this.capacity = Math.max(16, Math.ceil((SECONDS * 1000) / fStep));
            this.values = new Float64Array(this.capacity);
        }
        this.values.fill(NaN);
        this.origin = tBegin;
        this.next = 0;
        this.count = 0;
    }

    push(fValue) {
        this.values[this.next % this.capacity] = fValue;
        this.next++;
        this.count = Math.min(this.count + 1, this.capacity);
    }

    /// Least and greatest value of each of nColumns equal parts of [tFrom, tTo) into p_min and p_max (NaN: none).
    columns(tFrom, tTo, nColumns, min, max) {
        min.fill(NaN, 0, nColumns);
        max.fill(NaN, 0, nColumns);
        if (this.origin === null) return;
        const first = Math.max(this.next - this.count, Math.ceil((tFrom - this.origin) / this.step));
        const last = Math.min(this.next, Math.ceil((tTo - this.origin) / this.step));
        // Columns hang on the grid of time, not on the edge of the picture: their values do not flicker as it moves.
        const width = (tTo - tFrom) / nColumns;
        for (let n = first; n < last; n++) {
            const value = this.values[n % this.capacity];
            if (Number.isNaN(value)) continue;
            const c = Math.floor((this.origin + n * this.step - tFrom) / width);
            if (c < 0 || c >= nColumns) continue;
            if (!(min[c] <= value)) min[c] = value;
            if (!(max[c] >= value)) max[c] = value;
        }
    }
}
