// Requests to the server. An answer that is not 2xx becomes an ApiError with the server's own sentence.

export class ApiError extends Error {
    constructor(nStatus, strText) {
        super(strText);
        this.status = nStatus;
    }
}

const BASE = "api/v1/";
let strCsrf = "";
let fnSignedOut = () => {};

/// p_fn is called when the server wants a sign-in.
export function onSignedOut(fn) {
    fnSignedOut = fn;
}

export function apiUrl(strPath, query = {}) {
    const params = new URLSearchParams();
    for (const [name, value] of Object.entries(query))
        if (value !== undefined && value !== null && value !== "" && !Number.isNaN(value)) params.set(name, value);
    const text = params.toString();
    return BASE + strPath + (text ? "?" + text : "");
}

export const get = (strPath, query, signal) => request("GET", apiUrl(strPath, query), undefined, signal);

/// A token that is refused may be that of a server before its restart: one more try with a new one.
export async function post(strPath, body = {}) {
    try {
        return await request("POST", BASE + strPath, body);
    } catch (failure) {
        if (failure.status !== 403) throw failure;
        await whoAmI();
        return request("POST", BASE + strPath, body);
    }
}

/// A file that the server makes: { blob, name }. Fetched, not navigated to, so that a refusal can be told on the page.
export async function download(strPath, query) {
    const response = await send("GET", apiUrl(strPath, query), {});
    if (!response.ok) throw await failureOf(response, strPath);
    const name = /filename="?([^";]+)"?/.exec(response.headers.get("Content-Disposition") ?? "")?.[1];
    return { blob: await response.blob(), name: name ?? strPath.split("/").pop() };
}

async function request(strMethod, strUrl, body, signal) {
    const headers = { Accept: "application/json" };
    if (strMethod !== "GET") headers["X-CSRF-Token"] = strCsrf;
    if (body !== undefined) headers["Content-Type"] = "application/json";
    const response = await send(strMethod, strUrl, { headers, signal, body: body === undefined ? undefined : JSON.stringify(body) });
    if (!response.ok) throw await failureOf(response, strUrl);
    return response.json();
}

async function send(strMethod, strUrl, options) {
    try {
        return await fetch(strUrl, { method: strMethod, credentials: "same-origin", ...options });
    } catch (failure) {
        if (failure.name === "AbortError") throw failure;
        throw new ApiError(0, "omaview does not answer.");
    }
}

async function failureOf(response, strUrl) {
    const answer = await response.json().catch(() => ({}));
    if (response.status === 401 && !strUrl.endsWith("/session")) fnSignedOut();
    return new ApiError(response.status, answer.error ?? `The server answered with status ${response.status}.`);
}

async function session(strMethod, body) {
    const answer = await request(strMethod, BASE + "session", body);
    strCsrf = answer.csrf_token;
    return answer;
}

/// Who the reader is to the server; a session that has ended leads to the sign-in.
export async function whoAmI() {
    const answer = await session("GET");
    if (!answer.signed_in) fnSignedOut();
    return answer;
}

export const signIn = (strName, strPassword) => session("POST", { name: strName, password: strPassword });
export const signOut = () => session("DELETE");
