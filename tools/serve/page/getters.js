// Reading the getters' texts, which were made for pages: HTML options, JavaScript
// arrays, rows in quotes. None of them is run.

// "<option value=6 selected>Channel 6</option>..."
export function parseOptions(text) {
  // A document of its own, in which nothing loads and no script runs.
  const parsed = new DOMParser().parseFromString(`<select>${text}</select>`, "text/html");
  return [...parsed.querySelectorAll("option")].map((option) => ({
    value: option.value,
    text: option.textContent,
    selected: option.hasAttribute("selected"),
  }));
}

const kNamed = {amp: "&", lt: "<", gt: ">", quot: '"', nbsp: "\u00a0"};

// The characters that a getter's "&#39;", "&lt;" and "&lt" stand for.
export function unescaped(text) {
  return text.replace(/&(?:#(\d{1,3});|(amp|lt|gt|quot|nbsp);?)/g,
    (whole, code, name) => (code ? String.fromCharCode(Number(code)) : kNamed[name]));
}

// "[{ssid:'...',bssid:'...'},...]" below the header of the survey's page. A list
// that was cut at an odd network ends in a comma, which is no fault.
export function parseSurvey(text) {
  const body = text.replace(/^Content-Type: text\/html\n\n/, "");
  if (body === "") return [];
  if (!body.startsWith("[") || !body.endsWith("]")) throw new Error("this is no list of networks");
  const list = body.slice(1, -1);
  const networks = [];
  const network = /\{((?:[a-z_]+:'[^'\\]*',?)*)\},?/y;
  while (network.lastIndex < list.length) {
    const at = network.lastIndex;
    const found = network.exec(list);
    if (!found) throw new Error(`this is no network: ${list.slice(at, at + 40)}`);
    const fields = found[1].matchAll(/([a-z_]+):'([^'\\]*)'/g);
    networks.push(Object.fromEntries([...fields].map(([, name, value]) => [name, unescaped(value)])));
  }
  return networks;
}

const kRoute = ["interface", "destination", "gateway", "netmask", "flags", "references", "uses",
  "metric", "index", "side", "inactive", "note"];

// "\"br0,192.168.1.0,...;...\"", a script's literal of what goes into a page.
export function parseRoutes(text) {
  const rows = text.replace(/^"|"$/g, "").replace(/\\x(..)/g, (_, code) => String.fromCharCode(parseInt(code, 16)));
  if (rows === "") return [];
  return rows.split(";").map((row) => {
    const cells = row.split(",");
    return Object.fromEntries(kRoute.map((name, column) => [name, unescaped(cells[column] ?? "")]));
  });
}

// "1,1/0,0/..." from port 4 down to port 0.
export function parsePorts(text) {
  return text.split("/").filter((pair) => pair !== "").map((pair, place) => {
    const [link, flag] = pair.split(",");
    return {port: 4 - place, link: link === "1", flag: flag === "1"};
  });
}

export const kTrafficSources = ["Internet 1", "Internet 2", "Internet 3", "Internet 4", "Port 3",
  "Port 2", "Port 1", "Port 0", "ra0", "ra1", "ra2", "ra3", "wifi0", "wifi1", "wifi2", "wifi3"];

// Sixteen groups of eight numbers, or nothing when a driver did not answer.
export function parseTraffic(text) {
  if (text === "") return [];
  return text.split("@").map((group, place) => {
    const [packetsOut, packetsIn, bytesOut, bytesIn, ...faults] = group.split(",").map(Number);
    return {name: kTrafficSources[place], packetsOut, packetsIn, bytesOut, bytesIn, faults};
  });
}
