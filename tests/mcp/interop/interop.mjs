// Drives pellmora-cli mcp with the reference MCP stdio client: handshake,
// tool list and one call of every tool. Exits non-zero on the first fault.
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";
import { readFileSync } from "node:fs";
import assert from "node:assert/strict";

const [cli, dataHome, tabId] = process.argv.slice(2);
const client = new Client({ name: "pellmora-interop", version: "1.0.0" });
await client.connect(new StdioClientTransport({ command: cli, args: ["mcp"], env: { ...process.env, XDG_DATA_HOME: dataHome } }));
assert.equal(client.getServerVersion().name, "pellmora");
const { tools } = await client.listTools();
assert.deepEqual(tools.map((t) => t.name),
  ["search_tabs", "list_topics", "list_windows", "get_tab", "add_note", "set_reminder", "recent_tabs"]);

async function call(name, args, isError = false) {
  const result = await client.callTool({ name, arguments: args });
  assert.equal(result.isError, isError, `${name}: ${result.content[0].text}`);
  return isError ? result.content[0].text : JSON.parse(result.content[0].text);
}

assert.equal((await call("search_tabs", { query: "Rösti", limit: 5 }))[0].id, tabId);
assert.equal((await call("list_topics", {})).length, 1);
assert.equal((await call("list_windows", {})).length, 1);
assert.equal((await call("get_tab", { id: tabId.toLowerCase() })).id, tabId);
assert.equal((await call("add_note", { id: tabId, note: "vom Assistenten" })).note, "vom Assistenten");
assert.equal((await call("set_reminder", { id: tabId, iso_date: "2026-10-09T09:00:00+02:00" })).reminderAt, "2026-10-09T07:00:00Z");
assert.ok(Array.isArray(await call("recent_tabs", { days: 100000 })));
assert.equal(await call("get_tab", { id: "nein" }, true), "Tab nicht gefunden");
assert.ok(readFileSync(`${dataHome}/Pellmora/library.json`, "utf8").includes("vom Assistenten"));
await client.close();
console.log("interop ok");
