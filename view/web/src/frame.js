// One animation loop for everything that moves. It runs only while something asks for it and the page is seen; with
// reduced motion asked for, pictures step once a second instead of gliding.

const setDrawers = new Set();
const reduced = matchMedia("(prefers-reduced-motion: reduce)");
let nRequest = 0;
let tLast = 0;

export const isMotionReduced = () => reduced.matches;

/// Calls p_fn(time in ms of performance.now) once a frame until the function that is returned is called.
export function onFrame(fn) {
    setDrawers.add(fn);
    wake();
    return () => setDrawers.delete(fn);
}

function wake() {
    if (!nRequest && setDrawers.size && !document.hidden) nRequest = requestAnimationFrame(step);
}

function step(t) {
    nRequest = 0;
    if (!reduced.matches || t - tLast >= 1000) {
        tLast = t;
        for (const fn of setDrawers) fn(t);
    }
    wake();
}

document.addEventListener("visibilitychange", wake);
