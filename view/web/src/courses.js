// Courses of modes as the server gives them, brought to columns for the charts.

import uPlot from "uplot";

/// Four pictures of a mode's course: name of the column, title, and how it is shown.
export const QUANTITIES = [
    { column: "frequency_Hz", title: "Frequency", unit: "Hz", digits: 3, minSpan: 0.02 },
    { column: "magnitude", title: "Magnitude", unit: "", digits: 2, includeZero: true },
    { column: "damping_ratio", title: "Damping ratio", unit: "", digits: 3, minSpan: 0.02 },
    { column: "exposure", title: "Degree of exposure", unit: "", digits: 2, includeZero: true },
];

const EXPAND = 2; // of uPlot.join: a hole reaches to the next value of its own curve, whatever the others have between

/// The unit in which these jobs' magnitudes share one axis, and the factor of each job.
export function magnitudeUnit(jobs) {
    const units = new Set(jobs.map((job) => job.scale.unit));
    if (units.size === 1) return { unit: jobs[0].scale.unit, factor: (job) => job.scale.factor };
    return { unit: "% of the warning limit", factor: (job) => 100 / job.limits.warnMagn };
}

/// Limits of one job as lines for a quantity; none where several jobs share the picture.
export function limitLines(jobs, strColumn) {
    if (new Set(jobs).size !== 1) return [];
    const [{ limits, scale }] = jobs;
    if (strColumn === "magnitude")
        return [["warning", limits.warnMagn], ["alarm", limits.alarmMagn]].map(([text, v]) => ({ text, y: v * scale.factor }));
    if (strColumn === "damping_ratio") return [["warning", limits.warnDamp], ["alarm", limits.alarmDamp], ["undamped", 0]].map(([text, y]) => ({ text, y }));
    return [];
}

/// Columns of one quantity of all courses over one line of time. Times at which something is missing between two values
/// that are too far apart become holes.
export function columnsOf(courses, strColumn, fnFactor) {
    const banded = courses.some((course) => course.resolution !== "pass");
    const tables = courses.map((course) => tableOf(course, strColumn, fnFactor(course), banded));
    if (!tables.length) return { data: [[]], banded };
    const joined = tables.length === 1 ? tables[0] : uPlot.join(tables, tables.map((table) => table.map(() => EXPAND)));
    // From [t, v0, lo0, hi0, v1, lo1, hi1 ...] to [t, v0, v1 ..., lo0, hi0, lo1, hi1 ...].
    if (!banded) return { data: joined, banded };
    const curves = [], edges = [];
    for (let i = 1; i < joined.length; i += 3) {
        curves.push(joined[i]);
        edges.push(joined[i + 1], joined[i + 2]);
    }
    return { data: [joined[0], ...curves, ...edges], banded };
}

function tableOf(course, strColumn, fFactor, bBanded) {
    const times = course.time_ms;
    const step = typicalStep(times);
    const out = [[], []];
    if (bBanded) out.push([], []);
    const scaled = (v) => (v === null || v === undefined ? null : v * fFactor);
    times.forEach((t, i) => {
        if (i > 0 && t - times[i - 1] > 2.5 * step) {
            out[0].push(times[i - 1] + step);
            for (let k = 1; k < out.length; k++) out[k].push(null);
        }
        out[0].push(t);
        const value = scaled(course[strColumn][i]);
        out[1].push(value);
        if (!bBanded) return;
        out[2].push(scaled(course[strColumn + "_min"][i]) ?? value);
        out[3].push(scaled(course[strColumn + "_max"][i]) ?? value);
    });
    return out;
}

function typicalStep(times) {
    if (times.length < 3) return 1000;
    const steps = [];
    for (let i = 1; i < times.length; i += Math.max(1, Math.floor(times.length / 200))) steps.push(times[i] - times[i - 1]);
    steps.sort((a, b) => a - b);
    return Math.max(1, steps[steps.length >> 1]);
}

export const modeLabel = (mode) => `${mode.job.name}, ${mode.band}`;
export const courseRows = (courses, store) => {
    const rows = [["time", "job", "mode_from_Hz", "mode_to_Hz", "frequency_Hz", "magnitude", "unit", "damping_ratio", "degree_of_exposure"]];
    for (const course of courses) {
        const mode = store.modes.get(`${course.job}:${course.mode}`);
        course.time_ms.forEach((t, i) => {
            if (course.magnitude[i] === null) return;
            rows.push([new Date(t).toISOString(), course.job_name, mode?.freq_min_Hz, mode?.freq_max_Hz, course.frequency_Hz[i], course.magnitude[i], course.unit, course.damping_ratio[i], course.exposure[i]]);
        });
    }
    return rows;
};
