// The extension's background script against a scripted browser: the replies
// it posts to the host for each request, and how it reconnects.
//   node --test extension.test.mjs   (PELLMORA_EXTENSION names the script)
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import test from "node:test";
import vm from "node:vm";

const source = readFileSync(process.env.PELLMORA_EXTENSION, "utf8");

// A browser with windows of tabs (ids 1…); tabs listed in `vanished` go away
// between being listed and being closed, addresses in `refuse` are illegal.
function fakeBrowser({ windows = [], userAgent = "Mozilla/5.0 Chrome/120", storage = {}, refuse = [], vanished = [] } = {}) {
    let nextId = 1000;
    let windowsNow = windows.map((tabs, i) => ({ id: i + 1, tabs: tabs.map((t) => ({ ...t })) }));
    let focused = windowsNow.at(-1)?.id;
    const event = () => {
        const listeners = [];
        return { addListener: (f) => listeners.push(f), fire: (...a) => listeners.forEach((f) => f(...a)) };
    };
    const allTabs = () => windowsNow.flatMap((w) => w.tabs.map((t, index) => ({ ...t, index, windowId: w.id })));
    const created = [];
    const create = (windowId, url, active) => {
        if (refuse.includes(url))
            throw new Error(`Illegal URL: ${url}`);
        if (!windowsNow.some((w) => w.id === windowId))
            windowsNow.push({ id: windowId, tabs: [] });
        const tab = { id: ++nextId, url: url ?? "chrome://newtab/", title: "" };
        windowsNow.find((w) => w.id === windowId).tabs.push(tab);
        created.push({ window: windowId, url: tab.url, active });
        return tab;
    };
    const browser = { ports: [], timers: [], created, storage, removeCalls: 0, urls: () => allTabs().map((t) => t.url) };
    const api = {
        runtime: {
            connectNative(name) {
                const port = { name, sent: [], onMessage: event(), onDisconnect: event() };
                port.postMessage = (m) => port.sent.push(JSON.parse(JSON.stringify(m)));
                port.disconnect = () => {};
                browser.ports.push(port);
                return port;
            },
            onStartup: event(),
            onInstalled: event(),
        },
        storage: { local: { get: async (key) => (key in storage ? { [key]: storage[key] } : {}), set: async (v) => Object.assign(storage, v) } },
        windows: {
            getAll: async () => windowsNow.map((w) => ({ id: w.id, tabs: allTabs().filter((t) => t.windowId === w.id) })),
            getLastFocused: async () => (focused === undefined ? undefined : { id: focused }),
            async create({ url }) {
                create(windowsNow.length + 1, url, true);
                return { id: (focused = windowsNow.length) };
            },
            update: async (id) => { focused = id; },
            onCreated: event(),
        },
        tabs: {
            create: async ({ windowId, url, active = true }) => create(windowId, url, active),
            // Like Chromium: an array with one unknown id closes nothing.
            async remove(ids) {
                const list = [ids].flat();
                browser.removeCalls += 1;
                if (list.some((id) => !allTabs().some((t) => t.id === id) || vanished.includes(id)))
                    throw new Error("No tab with id");
                windowsNow = windowsNow.map((w) => ({ ...w, tabs: w.tabs.filter((t) => !list.includes(t.id)) })).filter((w) => w.tabs.length);
            },
            onCreated: event(),
        },
    };
    const context = {
        chrome: api,
        navigator: { userAgent, userAgentData: userAgent.includes("Firefox") ? undefined : { brands: [] } },
        crypto: { randomUUID: () => "uuid-1" },
        setTimeout: (f, ms) => browser.timers.push({ f, ms }),
        setInterval: () => 0,
        URL,
    };
    context.globalThis = context;
    vm.runInNewContext(source, context);
    return browser;
}

const settle = () => new Promise((resolve) => setImmediate(resolve));

async function ask(browser, message) {
    await settle();
    const port = browser.ports.at(-1);
    const before = port.sent.length;
    port.onMessage.fire(message);
    for (let i = 0; i < 50 && port.sent.length === before; ++i)
        await settle();
    assert.equal(port.sent.length, before + 1, `no reply to ${JSON.stringify(message)}`);
    return port.sent.at(-1);
}

test("close closes only tabs that still show the address", async (t) => {
    const a = { tabId: 1, url: "https://a.ch/" }, b = { tabId: 2, url: "https://b.ch/" }, c = { tabId: 3, url: "https://c.ch/" };
    for (const [name, close, closed, left, vanished = [], removeCalls = 1] of [
        ["all still there", [a, c], 2, ["https://b.ch/"]],
        ["a tab moved on to another address stays", [a, { tabId: 2, url: "https://old.ch/" }], 1, ["https://b.ch/", "https://c.ch/"]],
        ["a tab already gone is not counted", [{ tabId: 99, url: "https://x.ch/" }, c], 1, ["https://a.ch/", "https://b.ch/"]],
        ["a tab listed twice is closed once", [c, c], 1, ["https://a.ch/", "https://b.ch/"]],
        ["a tab gone while closing: the others one by one", [a, b], 1, ["https://a.ch/", "https://c.ch/"], [1], 3],
        ["closing every tab leaves a new tab so the browser stays open", [a, b, c], 3, ["chrome://newtab/"]],
    ]) {
        await t.test(name, async () => {
            const browser = fakeBrowser({ windows: [[{ id: 1, url: a.url }, { id: 2, url: b.url }], [{ id: 3, url: c.url }]], vanished });
            assert.deepEqual(await ask(browser, { id: 5, type: "close", tabs: close }), { id: 5, closed });
            assert.deepEqual(browser.urls(), left);
            assert.equal(browser.removeCalls, removeCalls);
        });
    }
});

test("open: the first address in front, the rest behind it, refused ones skipped", async (t) => {
    const x = "https://x.ch/", y = "https://y.ch/";
    const one = [[{ id: 1, url: "https://a.ch/" }]];
    for (const [name, windows, message, reply, created] of [
        ["new window", one, { urls: [x, y], newWindow: true }, { opened: 2, skipped: 0, windowId: 2 }, [[2, x, true], [2, y, false]]],
        ["front window", one, { urls: [x, y], newWindow: false }, { opened: 2, skipped: 0, windowId: 1 }, [[1, x, true], [1, y, false]]],
        ["no window yet", [], { urls: [x], newWindow: false }, { opened: 1, skipped: 0, windowId: 1 }, [[1, x, true]]],
        // the front window is the second one; the part before went to the first
        ["next part of a long list into the window named", [...one, [{ id: 2, url: "https://b.ch/" }]],
            { urls: [x], newWindow: false, windowId: 1 }, { opened: 1, skipped: 0, windowId: 1 }, [[1, x, false]]],
        ["only refused addresses: no window", one, { urls: ["kein Link"], newWindow: true }, { opened: 0, skipped: 1 }, []],
        ["illegal first address: the next one opens the window", one,
            { urls: ["kein Link", "javascript:alert(1)", "about:config", y, 42, x], newWindow: true },
            { opened: 2, skipped: 4, windowId: 2 }, [[2, y, true], [2, x, false]]],
    ]) {
        await t.test(name, async () => {
            const browser = fakeBrowser({ windows, refuse: ["about:config"] });
            assert.deepEqual(await ask(browser, { id: 3, type: "open", ...message }), { id: 3, ...reply });
            assert.deepEqual(browser.created, created.map(([window, url, active]) => ({ window, url, active })));
        });
    }
});

test("hello names the browser and a new instance id kept for the profile; an unknown request is refused", async () => {
    const browser = fakeBrowser();
    const reply = await ask(browser, { id: 9, type: "explode" });
    assert.deepEqual(browser.ports[0].sent[0], { type: "hello", protocol: 1, browser: "chromium", instance: "uuid-1" });
    assert.equal(browser.storage.instance, "uuid-1");
    assert.equal(reply.id, 9);
    assert.match(reply.error, /explode/);
});

test("reconnects with growing pauses and says hello again", async () => {
    const browser = fakeBrowser({ userAgent: "Mozilla/5.0 Gecko/20100101 Firefox/128.0", storage: { instance: "kept" } });
    await settle();
    const pauses = [];
    for (let round = 0; round < 8; ++round) {
        browser.ports.at(-1).onDisconnect.fire();
        assert.equal(browser.timers.length, 1, "not exactly one retry scheduled");
        const timer = browser.timers.shift();
        pauses.push(timer.ms);
        timer.f();
        await settle();
    }
    assert.deepEqual(pauses, [250, 500, 1000, 2000, 4000, 8000, 16000, 32000]);
    assert.equal(browser.ports.length, 9);
    assert.deepEqual(browser.ports[8].sent[0], { type: "hello", protocol: 1, browser: "firefox", instance: "kept" });
    // A request through a working connection resets the pause.
    await ask(browser, { id: 1, type: "count" });
    browser.ports[8].onDisconnect.fire();
    assert.equal(browser.timers.shift().ms, 250);
});
