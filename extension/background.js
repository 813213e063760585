// Pellmora's side in the browser: connects to the native host
// pellmora-browser-host, says hello, and answers Pellmora's requests to list,
// count, close and open tabs. Runs unchanged as a Chromium service worker and
// as a Firefox background script.
"use strict";

const api = globalThis.browser ?? globalThis.chrome;

const HOST = "app.pellmora.browser";
const PROTOCOL = 1;
const FIRST_RETRY_MS = 250;
const LAST_RETRY_MS = 60000;
// Any extension call resets the idle timers of service workers and event
// pages; a quiet browser would otherwise unload us and drop the host.
const KEEP_ALIVE_MS = 20000;

let port = null;
let retryMs = FIRST_RETRY_MS;
let retryTimer = null;

function browserName() {
    if (navigator.userAgent.includes("Firefox/"))
        return "firefox";
    const brands = navigator.userAgentData?.brands ?? [];
    if (brands.some((b) => b.brand === "Google Chrome"))
        return "chrome";
    return "chromium";
}

// One id per browser profile, so Pellmora can tell two profiles apart.
async function instanceId() {
    const stored = await api.storage.local.get("instance");
    if (typeof stored.instance === "string" && stored.instance !== "")
        return stored.instance;
    const instance = crypto.randomUUID();
    await api.storage.local.set({ instance });
    return instance;
}

// Addresses go to Pellmora as the browser has them; Pellmora decides which
// pages (start and new-tab pages) count as empty tabs.
function addressOf(tab) {
    return tab.url || tab.pendingUrl || "";
}

async function normalWindows() {
    return api.windows.getAll({ populate: true, windowTypes: ["normal"] });
}

async function list() {
    const windows = await normalWindows();
    return {
        windows: windows.map((w) => ({
            tabs: (w.tabs ?? []).map((t) => ({ tabId: t.id, url: addressOf(t), title: t.title ?? "", index: t.index })),
        })),
    };
}

async function count() {
    const windows = await normalWindows();
    let tabs = 0;
    let withTabs = 0;
    for (const w of windows) {
        const n = (w.tabs ?? []).length;
        tabs += n;
        if (n > 0)
            withTabs += 1;
    }
    return { tabs, windows: withTabs };
}

// Closes each listed tab that still shows the address Pellmora saw; a tab
// that moved on or is gone stays as it is and is not counted. One look at
// the windows and one call to close, so thousands of tabs go at once.
async function close(message) {
    const wanted = Array.isArray(message.tabs) ? message.tabs : [];
    const open = new Map();
    for (const w of await normalWindows())
        for (const t of w.tabs ?? [])
            open.set(t.id, t);
    const doomed = [];
    for (const entry of wanted) {
        const tab = open.get(entry?.tabId);
        if (tab !== undefined && addressOf(tab) === entry.url) {
            doomed.push(tab);
            open.delete(tab.id);
        }
    }
    if (doomed.length === 0)
        return { closed: 0 };

    // Closing the last tab would quit the browser and with it this
    // connection; an empty new tab keeps it open, as Safari stays open.
    if (open.size === 0) {
        try {
            await api.tabs.create({ windowId: doomed[doomed.length - 1].windowId, active: true });
        } catch (_) {
            // without it the browser may quit; the tabs are saved either way
        }
    }

    try {
        await api.tabs.remove(doomed.map((t) => t.id));
        return { closed: doomed.length };
    } catch (_) {
        // one of them went away meanwhile: the others one by one
    }
    let closed = 0;
    for (const tab of doomed) {
        try {
            await api.tabs.remove(tab.id);
            closed += 1;
        } catch (_) {
            // left open, not counted
        }
    }
    return { closed };
}

function openable(url) {
    if (typeof url !== "string")
        return false;
    try {
        const parsed = new URL(url);
        return parsed.protocol !== "javascript:" && parsed.protocol !== "data:";
    } catch (_) {
        return false;
    }
}

// The first address opens a new window when asked or when there is none,
// the others become tabs at the end of that window. An address the browser
// refuses is skipped; the rest still open. A long list comes in parts: the
// reply names the window, and the next part asks for it by windowId.
async function open(message) {
    const urls = Array.isArray(message.urls) ? message.urls : [];
    let windowId = Number.isInteger(message.windowId) ? message.windowId : null;
    if (windowId === null && !message.newWindow) {
        try {
            const front = await api.windows.getLastFocused({ windowTypes: ["normal"] });
            windowId = front?.id ?? null;
        } catch (_) {
            windowId = null;
        }
    }
    // The first address shows in front, so the browser comes forward with
    // the page rather than with whatever tab was there; later parts of a
    // long list stay behind it.
    let activate = !Number.isInteger(message.windowId);
    let opened = 0;
    let skipped = 0;
    for (const url of urls) {
        if (!openable(url)) {
            skipped += 1;
            continue;
        }
        try {
            if (windowId === null) {
                const created = await api.windows.create({ url, focused: true });
                windowId = created.id;
            } else {
                await api.tabs.create({ windowId, url, active: activate });
            }
            activate = false;
            opened += 1;
        } catch (_) {
            skipped += 1;
        }
    }
    if (windowId !== null) {
        try {
            await api.windows.update(windowId, { focused: true });
        } catch (_) {
            // bringing it to the front is a courtesy
        }
    }
    return windowId === null ? { opened, skipped } : { opened, skipped, windowId };
}

const handlers = { list, count, close, open };

async function answer(message) {
    if (typeof message !== "object" || message === null || message.id === undefined)
        return;
    let reply;
    const handler = handlers[message.type];
    if (!handler) {
        reply = { error: `Unbekannte Anfrage: ${message.type}` };
    } else {
        try {
            reply = await handler(message);
        } catch (e) {
            reply = { error: `Der Browser hat die Anfrage abgelehnt: ${e?.message ?? e}` };
        }
    }
    reply.id = message.id;
    try {
        port?.postMessage(reply);
    } catch (_) {
        // the host went away meanwhile; Pellmora asks again after reconnecting
    }
}

function scheduleRetry() {
    if (retryTimer !== null)
        return;
    retryTimer = setTimeout(() => {
        retryTimer = null;
        connect();
    }, retryMs);
    retryMs = Math.min(retryMs * 2, LAST_RETRY_MS);
}

async function connect() {
    if (port !== null)
        return;
    let current;
    try {
        current = api.runtime.connectNative(HOST);
    } catch (_) {
        scheduleRetry();
        return;
    }
    port = current;
    current.onDisconnect.addListener(() => {
        // Chromium wants lastError read, or it logs it as unchecked.
        void api.runtime.lastError;
        if (port === current)
            port = null;
        scheduleRetry();
    });
    current.onMessage.addListener((message) => {
        // A request shows the host reached Pellmora: back to quick retries.
        retryMs = FIRST_RETRY_MS;
        answer(message);
    });
    try {
        const hello = { type: "hello", protocol: PROTOCOL, browser: browserName(), instance: await instanceId() };
        if (port === current)
            current.postMessage(hello);
    } catch (_) {
        current.disconnect();
        if (port === current)
            port = null;
        scheduleRetry();
    }
}

function ensureConnected() {
    if (port === null && retryTimer === null)
        connect();
}

setInterval(() => {
    ensureConnected();
    api.runtime.getPlatformInfo().catch(() => {});
}, KEEP_ALIVE_MS);

// Listeners registered at the top level wake an unloaded worker; each wake
// reconnects if needed.
api.runtime.onStartup.addListener(ensureConnected);
api.runtime.onInstalled.addListener(ensureConnected);
api.tabs.onCreated.addListener(ensureConnected);
api.windows.onCreated.addListener(ensureConnected);

connect();
