// One animation loop for everything that moves. It runs only while something asks for it and the page is seen: at the
// full rate of the screen while a picture glides, else at 20 frames a second, which is smooth for curves that creep
// and spares a page that is open all day. With reduced motion asked for, pictures step once a second.

const CREEP_MS = 50;
const STEP_MS = 1000;

const setDrawers = new Set();
const reduced = matchMedia("(prefers-reduced-motion: reduce)");
let nRequest = 0;
let nTimer = 0;

export const isMotionReduced = () => reduced.matches;

/// Calls p_fn once a frame until the function that is returned is called; p_fn returns true while its picture glides.
export function onFrame(fn) {
    setDrawers.add(fn);
    wake();
    return () => setDrawers.delete(fn);
}

function wake() {
    clearTimeout(nTimer);
    nTimer = 0;
    if (!nRequest && setDrawers.size && !document.hidden) nRequest = requestAnimationFrame(step);
}

function step() {
    nRequest = 0;
    let gliding = false;
    for (const fn of setDrawers) gliding = fn() === true || gliding;
    if (reduced.matches) nTimer = setTimeout(wake, STEP_MS);
    else if (gliding) wake();
    else nTimer = setTimeout(wake, CREEP_MS);
}

document.addEventListener("visibilitychange", wake);
