// The extension's background script against a scripted browser: the replies
// it posts to the host for each request, and how it reconnects.
//   node --test extension.test.mjs   (PELLMORA_EXTENSION names the script)
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import test from "node:test";
import vm from "node:vm";

const source = readFileSync(process.env.PELLMORA_EXTENSION, "utf8");

// A browser with windows of tabs; ids are numbers, windows keep their order.
// Tabs listed in vanished go away between being listed and being closed.
function fakeBrowser({ windows = [], userAgent = "Mozilla/5.0 Chrome/120", storage = {}, refuse = [], vanished = [] } = {}) {
    let nextId = 1000;
    const state = { windows: windows.map((tabs, i) => ({ id: i + 1, tabs: tabs.map((t) => ({ ...t })) })) };
    const ports = [];
    const timers = [];
    const created = [];
    let focused = state.windows.length ? state.windows[state.windows.length - 1].id : null;

    const event = () => {
        const listeners = [];
        return { addListener: (f) => listeners.push(f), fire: (...a) => listeners.forEach((f) => f(...a)), listeners };
    };
    const allTabs = () => state.windows.flatMap((w) => w.tabs.map((t, index) => ({ ...t, index, windowId: w.id })));
    const check = (url) => {
        if (refuse.includes(url))
            throw new Error(`Illegal URL: ${url}`);
    };

    const api = {
        runtime: {
            connectNative(name) {
                const port = { name, sent: [], onMessage: event(), onDisconnect: event(), closed: false };
                port.postMessage = (m) => port.sent.push(JSON.parse(JSON.stringify(m)));
                port.disconnect = () => { port.closed = true; };
                ports.push(port);
                return port;
            },
            getPlatformInfo: async () => ({ os: "linux" }),
            onStartup: event(),
            onInstalled: event(),
            lastError: undefined,
        },
        storage: {
            local: {
                get: async (key) => (key in storage ? { [key]: storage[key] } : {}),
                set: async (values) => Object.assign(storage, values),
            },
        },
        windows: {
            getAll: async () => state.windows.map((w) => ({ id: w.id, tabs: allTabs().filter((t) => t.windowId === w.id) })),
            getLastFocused: async () => (focused === null ? undefined : { id: focused }),
            async create({ url }) {
                check(url);
                const w = { id: state.windows.length + 1, tabs: [{ id: ++nextId, url, title: url }] };
                state.windows.push(w);
                created.push({ window: w.id, url, active: true });
                focused = w.id;
                return { id: w.id };
            },
            update: async (id) => { focused = id; },
            onCreated: event(),
        },
        tabs: {
            async get(id) {
                const t = allTabs().find((x) => x.id === id);
                if (!t)
                    throw new Error(`No tab with id: ${id}`);
                return t;
            },
            async create({ windowId, url, active = true }) {
                if (url !== undefined)
                    check(url);
                const w = state.windows.find((x) => x.id === windowId);
                const t = { id: ++nextId, url: url ?? "chrome://newtab/", title: "" };
                w.tabs.push(t);
                created.push({ window: windowId, url: t.url, active });
                return t;
            },
            // Like Chromium: an array with one unknown id closes nothing.
            async remove(ids) {
                const list = Array.isArray(ids) ? ids : [ids];
                browser.removeCalls += 1;
                for (const id of list)
                    if (!allTabs().some((t) => t.id === id) || vanished.includes(id))
                        throw new Error(`No tab with id: ${id}`);
                for (const w of state.windows)
                    w.tabs = w.tabs.filter((t) => !list.includes(t.id));
                state.windows = state.windows.filter((w) => w.tabs.length > 0);
            },
            onCreated: event(),
        },
    };

    const context = {
        chrome: api,
        navigator: { userAgent, userAgentData: userAgent.includes("Firefox") ? undefined : { brands: [] } },
        crypto: { randomUUID: () => "uuid-1" },
        setTimeout: (f, ms) => { timers.push({ f, ms }); return timers.length; },
        setInterval: () => 0,
        URL,
        console,
    };
    context.globalThis = context;
    const browser = { api, state, ports, timers, created, storage, removeCalls: 0 };
    vm.runInNewContext(source, context);
    return browser;
}

const settle = () => new Promise((resolve) => setImmediate(resolve));

async function ask(browser, message) {
    const port = browser.ports[browser.ports.length - 1];
    const before = port.sent.length;
    port.onMessage.fire(message);
    for (let i = 0; i < 50 && port.sent.length === before; ++i)
        await settle();
    assert.equal(port.sent.length, before + 1, `no reply to ${JSON.stringify(message)}`);
    return port.sent[port.sent.length - 1];
}

test("hello names the browser and keeps one instance id per profile", async (t) => {
    const cases = [
        { name: "chromium", userAgent: "Mozilla/5.0 Chrome/120", storage: {}, instance: "uuid-1" },
        { name: "firefox", userAgent: "Mozilla/5.0 Gecko/20100101 Firefox/128.0", storage: {}, instance: "uuid-1" },
        { name: "chromium", userAgent: "Mozilla/5.0 Chrome/120", storage: { instance: "kept" }, instance: "kept" },
    ];
    for (const c of cases) {
        await t.test(`${c.name} ${c.instance}`, async () => {
            const browser = fakeBrowser({ userAgent: c.userAgent, storage: c.storage });
            await settle();
            assert.equal(browser.ports.length, 1);
            assert.equal(browser.ports[0].name, "app.pellmora.browser");
            assert.deepEqual(browser.ports[0].sent, [
                { type: "hello", protocol: 1, browser: c.name, instance: c.instance },
            ]);
            assert.equal(browser.storage.instance, c.instance);
        });
    }
});

test("list gives every tab with its 0-based index and its address as the browser has it", async () => {
    const browser = fakeBrowser({
        windows: [
            [{ id: 1, url: "https://a.ch/", title: "A" }, { id: 2, url: "chrome://newtab/", title: "Neuer Tab" }],
            [{ id: 3, url: "about:newtab", title: "" }, { id: 4, url: "", pendingUrl: "https://b.ch/", title: "B" }],
        ],
    });
    await settle();
    const reply = await ask(browser, { id: 7, type: "list" });
    assert.deepEqual(reply, {
        id: 7,
        windows: [
            { tabs: [{ tabId: 1, url: "https://a.ch/", title: "A", index: 0 }, { tabId: 2, url: "chrome://newtab/", title: "Neuer Tab", index: 1 }] },
            { tabs: [{ tabId: 3, url: "about:newtab", title: "", index: 0 }, { tabId: 4, url: "https://b.ch/", title: "B", index: 1 }] },
        ],
    });
});

test("count gives tabs and windows", async () => {
    const browser = fakeBrowser({
        windows: [[{ id: 1, url: "https://a.ch/" }, { id: 2, url: "https://b.ch/" }], [{ id: 3, url: "https://c.ch/" }]],
    });
    await settle();
    assert.deepEqual(await ask(browser, { id: 1, type: "count" }), { id: 1, tabs: 3, windows: 2 });
});

test("close re-checks each address", async (t) => {
    const cases = [
        {
            name: "all still there",
            close: [{ tabId: 1, url: "https://a.ch/" }, { tabId: 3, url: "https://c.ch/" }],
            closed: 2,
            left: ["https://b.ch/"],
        },
        {
            name: "a tab moved on to another address stays",
            close: [{ tabId: 1, url: "https://a.ch/" }, { tabId: 2, url: "https://old.ch/" }],
            closed: 1,
            left: ["https://b.ch/", "https://c.ch/"],
        },
        {
            name: "a tab already gone is not counted",
            close: [{ tabId: 99, url: "https://x.ch/" }, { tabId: 3, url: "https://c.ch/" }],
            closed: 1,
            left: ["https://a.ch/", "https://b.ch/"],
        },
        {
            name: "a tab listed twice is closed once",
            close: [{ tabId: 3, url: "https://c.ch/" }, { tabId: 3, url: "https://c.ch/" }],
            closed: 1,
            left: ["https://a.ch/", "https://b.ch/"],
        },
        {
            name: "a tab gone while closing: the others one by one",
            vanished: [1],
            close: [{ tabId: 1, url: "https://a.ch/" }, { tabId: 2, url: "https://b.ch/" }],
            closed: 1,
            left: ["https://a.ch/", "https://c.ch/"],
            removeCalls: 3,
        },
        {
            name: "closing every tab leaves a new tab so the browser stays open",
            close: [{ tabId: 1, url: "https://a.ch/" }, { tabId: 2, url: "https://b.ch/" }, { tabId: 3, url: "https://c.ch/" }],
            closed: 3,
            left: ["chrome://newtab/"],
        },
    ];
    for (const c of cases) {
        await t.test(c.name, async () => {
            const browser = fakeBrowser({
                windows: [[{ id: 1, url: "https://a.ch/" }, { id: 2, url: "https://b.ch/" }], [{ id: 3, url: "https://c.ch/" }]],
                vanished: c.vanished ?? [],
            });
            await settle();
            assert.deepEqual(await ask(browser, { id: 5, type: "close", tabs: c.close }), { id: 5, closed: c.closed });
            assert.deepEqual(browser.state.windows.flatMap((w) => w.tabs.map((x) => x.url)), c.left);
            assert.equal(browser.removeCalls, c.removeCalls ?? 1);
        });
    }
});

test("open: first address in front in a new window, the rest as tabs behind it, refused ones skipped", async (t) => {
    const existing = [[{ id: 1, url: "https://a.ch/" }]];
    const cases = [
        {
            name: "new window",
            windows: existing,
            message: { urls: ["https://x.ch/", "https://y.ch/"], newWindow: true },
            reply: { opened: 2, skipped: 0, windowId: 2 },
            created: [{ window: 2, url: "https://x.ch/", active: true }, { window: 2, url: "https://y.ch/", active: false }],
        },
        {
            name: "front window",
            windows: existing,
            message: { urls: ["https://x.ch/", "https://y.ch/"], newWindow: false },
            reply: { opened: 2, skipped: 0, windowId: 1 },
            created: [{ window: 1, url: "https://x.ch/", active: true }, { window: 1, url: "https://y.ch/", active: false }],
        },
        {
            name: "no window yet",
            windows: [],
            message: { urls: ["https://x.ch/"], newWindow: false },
            reply: { opened: 1, skipped: 0, windowId: 1 },
            created: [{ window: 1, url: "https://x.ch/", active: true }],
        },
        {
            // the front window is the second one; the part before went to the first
            name: "next part of a long list into the window named",
            windows: [[{ id: 1, url: "https://a.ch/" }], [{ id: 2, url: "https://b.ch/" }]],
            message: { urls: ["https://x.ch/"], newWindow: false, windowId: 1 },
            reply: { opened: 1, skipped: 0, windowId: 1 },
            created: [{ window: 1, url: "https://x.ch/", active: false }],
        },
        {
            name: "only refused addresses: no window",
            windows: existing,
            message: { urls: ["kein Link"], newWindow: true },
            reply: { opened: 0, skipped: 1 },
            created: [],
        },
        {
            name: "illegal first address: the next one opens the window",
            windows: existing,
            message: { urls: ["kein Link", "javascript:alert(1)", "about:config", "https://y.ch/", 42, "https://z.ch/"], newWindow: true },
            refuse: ["about:config"],
            reply: { opened: 2, skipped: 4, windowId: 2 },
            created: [{ window: 2, url: "https://y.ch/", active: true }, { window: 2, url: "https://z.ch/", active: false }],
        },
    ];
    for (const c of cases) {
        await t.test(c.name, async () => {
            const browser = fakeBrowser({ windows: c.windows, refuse: c.refuse ?? [] });
            await settle();
            assert.deepEqual(await ask(browser, { id: 3, type: "open", ...c.message }), { id: 3, ...c.reply });
            assert.deepEqual(browser.created, c.created);
        });
    }
});

test("an unknown request is refused with its id", async () => {
    const browser = fakeBrowser();
    await settle();
    const reply = await ask(browser, { id: 9, type: "explode" });
    assert.equal(reply.id, 9);
    assert.match(reply.error, /explode/);
});

test("reconnects with growing pauses and says hello again", async () => {
    const browser = fakeBrowser();
    await settle();
    const pauses = [];
    for (let round = 0; round < 8; ++round) {
        browser.ports[browser.ports.length - 1].onDisconnect.fire();
        const timer = browser.timers.shift();
        assert.ok(timer, "no retry scheduled");
        assert.equal(browser.timers.length, 0, "more than one retry scheduled");
        pauses.push(timer.ms);
        timer.f();
        await settle();
    }
    assert.deepEqual(pauses, [250, 500, 1000, 2000, 4000, 8000, 16000, 32000]);
    assert.equal(browser.ports.length, 9);
    assert.equal(browser.ports[8].sent[0].type, "hello");

    // A request through a working connection resets the pause.
    await ask(browser, { id: 1, type: "count" });
    browser.ports[8].onDisconnect.fire();
    assert.equal(browser.timers.shift().ms, 250);
});
