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
export const post = (strPath, body = {}) => request("POST", BASE + strPath, body);

async function request(strMethod, strUrl, body, signal) {
    const headers = { Accept: "application/json" };
    if (strMethod !== "GET") headers["X-CSRF-Token"] = strCsrf;
    if (body !== undefined) headers["Content-Type"] = "application/json";
    let response;
    try {
        response = await fetch(strUrl, {
            method: strMethod, headers, signal, credentials: "same-origin", body: body === undefined ? undefined : JSON.stringify(body),
        });
    } catch (failure) {
        if (failure.name === "AbortError") throw failure;
        throw new ApiError(0, "omaview does not answer.");
    }
    const answer = await response.json().catch(() => ({}));
    if (!response.ok) {
        if (response.status === 401 && !strUrl.endsWith("/session")) fnSignedOut();
        throw new ApiError(response.status, answer.error ?? `The server answered with status ${response.status}.`);
    }
    return answer;
}

async function session(strMethod, body) {
    const answer = await request(strMethod, BASE + "session", body);
    strCsrf = answer.csrf_token;
    return answer;
}

export const whoAmI = () => session("GET");
export const signIn = (strName, strPassword) => session("POST", { name: strName, password: strPassword });
export const signOut = () => session("DELETE");
