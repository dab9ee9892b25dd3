// Numbers, spans and times as texts. A minus is the sign U+2212, as wide as a digit; no value is an en dash.

export const NONE = "–";
const MINUS = "−";

export function fixed(fValue, nDigits) {
    if (fValue === null || fValue === undefined || !Number.isFinite(fValue)) return NONE;
    const text = fValue.toFixed(nDigits);
    return text.startsWith("-") ? (Number(text) === 0 ? text.slice(1) : MINUS + text.slice(1)) : text;
}

export const frequency = (f) => fixed(f, 3);
export const exposure = (f) => fixed(f, 2);

/// A damping ratio, always with its sign, even where its digits are all 0: it says whether the swing decays.
export function damping(f) {
    const text = fixed(Math.abs(f), 3);
    return text === NONE || f === null ? NONE : (f < 0 ? MINUS : "+") + text;
}

/// How the magnitudes of a job are written: one prefix and number of decimals for all of its values, chosen by its
/// warning limit, so that figures of one job can be compared at a glance. { unit, factor, digits }
export function scaleOf(strUnit, fTypical) {
    if (strUnit !== "W") return { unit: "°", factor: 1, digits: digitsFor(fTypical) };
    for (const [prefix, size] of [["G", 1e9], ["M", 1e6], ["k", 1e3]]) {
        if (fTypical >= size * 0.2) return { unit: prefix + "W", factor: 1 / size, digits: digitsFor(fTypical / size) };
    }
    return { unit: "W", factor: 1, digits: digitsFor(fTypical) };
}

function digitsFor(fValue) {
    return fValue >= 100 ? 0 : fValue >= 5 ? 1 : 2;
}

export function magnitude(scale, fValue, bUnit = true) {
    const text = fixed(fValue === null || fValue === undefined ? NaN : fValue * scale.factor, scale.digits);
    if (!bUnit || text === NONE) return text;
    return scale.unit === "°" ? text + "°" : text + " " + scale.unit;
}

export function band(mode) {
    const edge = (f) => String(Number(f.toPrecision(3)));
    if (mode.minHz && mode.maxHz) return `${edge(mode.minHz)}–${edge(mode.maxHz)} Hz`;
    if (mode.minHz) return `from ${edge(mode.minHz)} Hz`;
    return mode.maxHz ? `to ${edge(mode.maxHz)} Hz` : "all frequencies";
}

/// "42 s", "3 min 07 s", "2 h 05 min", "3 d 4 h"
export function span(fSeconds) {
    if (!Number.isFinite(fSeconds)) return NONE;
    const s = Math.max(0, Math.round(fSeconds));
    if (s < 60) return `${s} s`;
    if (s < 3600) return `${Math.floor(s / 60)} min ${two(s % 60)} s`;
    if (s < 86400) return `${Math.floor(s / 3600)} h ${two(Math.floor(s / 60) % 60)} min`;
    return `${Math.floor(s / 86400)} d ${Math.floor(s / 3600) % 24} h`;
}

export function bytes(n) {
    if (!Number.isFinite(n)) return NONE;
    for (const [unit, size] of [["TB", 1e12], ["GB", 1e9], ["MB", 1e6], ["kB", 1e3]])
        if (n >= size) return `${fixed(n / size, n >= size * 100 ? 0 : 1)} ${unit}`;
    return `${n} B`;
}

export const count = (n) => (Number.isFinite(n) ? Math.round(n).toString().replace(/\B(?=(\d{3})+$)/g, " ") : NONE);

// ---- times: milliseconds since 1970, shown as UTC or in the zone of the browser, as the reader has chosen ----

let bUtc = true;
export const setUtc = (b) => (bUtc = b);
export const isUtc = () => bUtc;
export const zoneName = () => (bUtc ? "UTC" : "local");

const two = (n) => String(n).padStart(2, "0");

function parts(t) {
    const d = new Date(t);
    return bUtc
        ? [d.getUTCFullYear(), d.getUTCMonth() + 1, d.getUTCDate(), d.getUTCHours(), d.getUTCMinutes(), d.getUTCSeconds()]
        : [d.getFullYear(), d.getMonth() + 1, d.getDate(), d.getHours(), d.getMinutes(), d.getSeconds()];
}

export function clock(t) {
    if (!Number.isFinite(t)) return NONE;
    const [, , , hour, minute, second] = parts(t);
    return `${two(hour)}:${two(minute)}:${two(second)}`;
}

export function day(t) {
    if (!Number.isFinite(t)) return NONE;
    const [year, month, date] = parts(t);
    return `${year}-${two(month)}-${two(date)}`;
}

export const dateTime = (t) => (Number.isFinite(t) ? `${day(t)} ${clock(t)}` : NONE);

/// The time alone where it is of the day of tNow, with the date else.
export const shortTime = (t, tNow) => (day(t) === day(tNow) ? clock(t) : dateTime(t));

/// Value of an <input type="datetime-local">, and back.
export const toInput = (t) => (Number.isFinite(t) ? `${day(t)}T${clock(t)}` : "");
export const fromInput = (str) => (str ? Date.parse(bUtc ? str + "Z" : str) : NaN);
