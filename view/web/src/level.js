// Levels, cells and degree of exposure, as the analysis rates them. Damping ratios are negative while a swing decays.

/// Levels of events in rising severity: word, the event's full name, form. The form is a path in a box of 16 x 16, the
/// same for icons on the page and marks on a canvas, so that a level is told without its colour.
export const LEVELS = [
    { word: "Below levels", name: "No Power Swing", path: "M8 3a5 5 0 1 0 .01 0Zm0 2.2a2.8 2.8 0 1 1-.01 0Z" },
    { word: "Notified", name: "Notified Power Swing", path: "M8 2.6a5.4 5.4 0 1 0 .01 0Z" },
    { word: "Distinct", name: "Distinct Power Swing", path: "M8 1.2 14.8 8 8 14.8 1.2 8Z" },
    { word: "Critical", name: "Critical Power Swing", path: "M8 1.4 15.4 14.2H.6Z" },
    {
        word: "Undamped",
        name: "Undamped Critical Power Swing",
        path: "M5 .8h6L15.2 5v6L11 15.2H5L.8 11V5ZM7 3.6v5.6h2V3.6Zm0 7v2h2v-2Z",
    },
];

/// Cell by zone of magnitude (row) and zone of damping ratio (column). Not in order of severity in each row and
/// column: magnitude and damping are weighed against each other.
export const CELLS = [
    [0, 2, 4, 6],
    [1, 5, 8, 9],
    [3, 7, 10, 11],
];

const EVENT_OF_CELL = [0, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4];

/// Level of events (0 to 4) of a cell or of a degree of exposure.
export function levelOf(fExposure) {
    if (!(fExposure >= 0)) return 0;
    return EVENT_OF_CELL[Math.min(11, Math.trunc(fExposure))];
}

/// Zones of a point, each limit belonging to the zone above it: { row 0..2, column 0..3 }.
export function zonesOf(limits, fMagn, fDamp) {
    const row = fMagn < limits.warnMagn ? 0 : fMagn < limits.alarmMagn ? 1 : 2;
    const column = fDamp < limits.warnDamp ? 0 : fDamp < limits.alarmDamp ? 1 : fDamp < 0 ? 2 : 3;
    return { row, column };
}

/// Position within the zones, 0 to 1 each, growing with severity.
export function positionOf(limits, fMagn, fDamp) {
    const { warnMagn: lw, alarmMagn: la, warnDamp: dw, alarmDamp: da } = limits;
    const { row, column } = zonesOf(limits, fMagn, fDamp);
    const magn = [fMagn / lw, (fMagn - lw) / (la - lw), (fMagn - la) / fMagn][row];
    const damp = [dw / fDamp, (fDamp - dw) / (da - dw), (fDamp - da) / -da, fDamp / (fDamp - da)][column];
    return { row, column, magn: bounded(magn), damp: bounded(damp) };
}

export function exposureOf(limits, fMagn, fDamp) {
    const at = positionOf(limits, fMagn, fDamp);
    return CELLS[at.row][at.column] + at.magn * at.damp;
}

/// What would make this point critical: the least rise of the damping ratio alone, of the magnitude alone. Null where
/// that alone does not do it; both are null where it is critical already, or takes both to become so.
export function wayToCritical(limits, fMagn, fDamp) {
    if (levelOf(exposureOf(limits, fMagn, fDamp)) >= 3) return { critical: true, damp: null, magn: null };
    const { row, column } = zonesOf(limits, fMagn, fDamp);
    const dampLimits = [-Infinity, limits.warnDamp, limits.alarmDamp, 0];
    const magnLimits = [0, limits.warnMagn, limits.alarmMagn];
    let damp = null;
    let magn = null;
    for (let c = column + 1; c < 4 && damp === null; c++)
        if (EVENT_OF_CELL[CELLS[row][c]] >= 3) damp = dampLimits[c] - fDamp;
    for (let r = row + 1; r < 3 && magn === null; r++)
        if (EVENT_OF_CELL[CELLS[r][column]] >= 3) magn = magnLimits[r] - fMagn;
    return { critical: false, damp, magn };
}

function bounded(fValue) {
    return Number.isFinite(fValue) ? Math.min(1, Math.max(0, fValue)) : 0;
}
