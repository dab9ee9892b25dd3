// Files that the page makes itself: tables as CSV, pictures as PNG.

import { fileName } from "./parts.js";

/// Rows as CSV after RFC 4180. A text that a spreadsheet would take for a formula is led by an apostrophe.
export function csv(rows) {
    const lines = rows.map((row) => row.map(field).join(","));
    return new Blob([lines.join("\r\n") + "\r\n"], { type: "text/csv;charset=utf-8" });
}

function field(value) {
    if (value === null || value === undefined || Number.isNaN(value)) return "";
    if (typeof value === "number") return String(value);
    const text = /^[=+\-@\t\r]/.test(value) ? "'" + value : String(value);
    return /[",\r\n]/.test(text) ? `"${text.replaceAll('"', '""')}"` : text;
}

export function exportName(parts, tData, strEnding) {
    const time = Number.isFinite(tData) ? new Date(tData).toISOString().slice(0, 19).replaceAll(":", "") : "";
    return `${fileName(...parts, time)}.${strEnding}`;
}
