// SPDX-License-Identifier: Apache-2.0
// The operators' interface, as far as this page uses it.

export type State = "alive" | "late" | "offline";
export type Severity = "Fault" | "Alarm" | "Warning";
export type AlarmCounts = Record<Severity, number>;

export const STATES: readonly State[] = ["alive", "late", "offline"];
export const SEVERITIES: readonly Severity[] = ["Fault", "Alarm", "Warning"];

export interface Appliance {
  uuid: string;
  name: string;
  model: string | null;
  serial: string | null;
  firmware: string | null;
  address: string | null;
  account: string | null;
  state: State;
  registered: string;
  lastHeartbeat: string | null;
  interval: number | null;  // seconds
  chassis: string | null;
  alarms: AlarmCounts;
  worst: Severity | null;
}

export interface ApplianceDetail extends Appliance {
  heartbeats: number;
  chassisList: {id: string; name: string; created: string}[];
}

// Whether what is known of the appliance is how it is now.
export const isHeard = ({state, lastHeartbeat}: Appliance) =>
  state === "alive" && lastHeartbeat !== null;

export interface Fleet {
  total: number;  // on all pages
  counts: Record<State, number>;  // of all appliances, without the filters
  alarms: AlarmCounts;            // of all appliances, without the filters
  items: Appliance[];
}

// Who looks after an alarm.
export interface Acknowledgement {
  time: string;
  by: string;
  note: string;
}

// An open alarm of an appliance, or one that has ended; or that nothing was heard of it.
export interface Alarm {
  id: string;
  kind: "alarm" | "silence";
  uuid: string;
  name: string;
  severity: Severity;
  message: string;
  messageId: string | null;
  opened: string;
  offline: string | null;  // a silence: since when the appliance is, or was, offline
  ended: string | null;
  acknowledged: Acknowledgement | null;
}

export type Kind = "alarm" | "clear" | "message" | "point";

export const KINDS: readonly Kind[] = ["alarm", "clear", "message", "point"];

export interface LogEvent {
  id: number;
  received: string;
  created: string | null;
  time: string | null;
  kind: Kind;
  severity: string;
  message: string;
  messageId: string;
  origin: string | null;
  args: (string | null)[];
  cleared: boolean;
  uuid?: string;  // whose it is, and its name: in the log of all appliances
  name?: string;
}

export interface Page<T> {
  items: T[];
  next: string | number | null;  // where the page behind it begins
}

export interface Resource {
  uri: string;
  type: string | null;
  name: string;
  updated: string;
}

export interface ResourceDetail {
  uri: string;
  updated: string;
  document: Record<string, unknown>;
}

export type Quantity = "temperature" | "humidity";

// A number of a document that has a history.
export interface Quantified {
  uri: string;
  member: string;    // the number's name, which no other number of the document has
  pointer: string;
  present: boolean;  // the document has the number now
  name: string;
  unit: string | null;
  quantity: Quantity | null;
}

export type Sample = [time: number, value: number];  // seconds since 1970; in the series' unit

export interface Peak {
  time: number;  // seconds since 1970
  value: number;
}

export interface Series extends Quantified {
  samples: Sample[];
  min: Peak | null;
  max: Peak | null;
}

export interface Extreme {
  pointer: string;
  quantity: Quantity;
  extreme: "highest" | "lowest";
  value: number;
  unit: string;
}

export interface History {
  uri: string;
  series: Series[];
  extremes: Extreme[];
}

export interface Session {
  name: string;
  version: string;
  command: string;  // how commands on the service's database begin where it runs
}

// The service's answer when it gave no data. Status 0: it did not answer.
export class ApiError extends Error {
  constructor(readonly status: number, message: string) {
    super(message);
  }
}

// Milliseconds in which an answer comes. The service gives up on its own work much sooner.
const PATIENCE = 20_000;

type Query = Record<string, string | number | undefined>;

let signedOut = () => {};
let clockOffset = 0;

// Calls `listener` whenever an answer says that the session has ended.
export function onSignedOut(listener: () => void): void {
  signedOut = listener;
}

// The service's time in milliseconds, so that ages are right even if the reader's clock is wrong.
export function serviceNow(): number {
  return Date.now() + clockOffset;
}

// Runs `work` with a signal that ends it in time, or with `signal`. Where `work` is only the
// beginning, as of a stream, `signal` ends what follows.
async function timely<T>(signal: AbortSignal | null | undefined, isWhole: boolean,
                         work: (signal: AbortSignal) => Promise<T>): Promise<T> {
  const stop = new AbortController();
  const abort = () => stop.abort();
  let late = false;
  const timer = setTimeout(() => {
    late = true;
    abort();
  }, PATIENCE);
  if (signal?.aborted) abort();
  signal?.addEventListener("abort", abort, {once: true});
  try {
    return await work(stop.signal);
  } catch (fault) {
    if (late) throw new ApiError(0, `The service has not answered for ${PATIENCE / 1000} s.`);
    throw fault;
  } finally {
    clearTimeout(timer);
    if (isWhole) signal?.removeEventListener("abort", abort);
  }
}

async function ask(path: string, options: RequestInit): Promise<Response> {
  const headers = new Headers(options.headers);
  headers.set("X-Requested-With", "page");
  let answer: Response;
  try {
    answer = await fetch(`/api/v1${path}`, {...options, headers, cache: "no-store"});
  } catch (fault) {
    if (options.signal?.aborted) throw fault;
    throw new ApiError(0, "The service does not answer.");
  }
  const date = Date.parse(answer.headers.get("Date") ?? "");
  // The header gives whole seconds; adding half a second makes the error smallest.
  if (!Number.isNaN(date)) clockOffset = date + 500 - Date.now();
  if (answer.ok || answer.status === 304) return answer;
  const text = await answer.json().then((body) => body?.error?.message, () => undefined);
  if (answer.status === 401) signedOut();
  throw new ApiError(answer.status, text ?? `The service answered ${answer.status}.`);
}

export const request = (path: string, options: RequestInit = {}): Promise<Response> =>
  timely(options.signal, false, (signal) => ask(path, {...options, signal}));

// Answers of late, by their addresses: the service sends none again that has not changed since.
const known = new Map<string, {tag: string; data: unknown}>();
const MOST_KNOWN = 50;

async function getKnown<T>(address: string, signal: AbortSignal): Promise<T> {
  const before = known.get(address);
  const answer = await ask(address, {signal, ...(before && {headers: {"If-None-Match": before.tag}})});
  if (answer.status === 304 && before) return before.data as T;
  const data = await answer.json();
  const tag = answer.headers.get("ETag");
  known.delete(address);
  if (tag) known.set(address, {tag, data});
  if (known.size > MOST_KNOWN) known.delete(known.keys().next().value!);
  return data;
}

async function get<T>(path: string, query: Query, signal: AbortSignal): Promise<T> {
  const parameters = new URLSearchParams();
  for (const [name, value] of Object.entries(query)) {
    if (value !== undefined && value !== "") parameters.set(name, String(value));
  }
  // The service takes a "+" for a plus, not for a blank.
  const text = parameters.toString().replaceAll("+", "%20");
  const address = text ? `${path}?${text}` : path;
  return timely(signal, true, (limited) => getKnown<T>(address, limited));
}

const one = (uuid: string) => `/appliances/${encodeURIComponent(uuid)}`;
const acknowledgement = (alarm: string) => `/alarms/${encodeURIComponent(alarm)}/acknowledgement`;

export const api = {
  session: async (): Promise<Session> => (await request("/session")).json(),
  signIn: async (name: string, password: string): Promise<void> => {
    await request("/session", {
      method: "POST",
      headers: {"Content-Type": "application/json"},
      body: JSON.stringify({name, password}),
    });
  },
  signOut: async (): Promise<void> => {
    known.clear();
    await request("/session", {method: "DELETE"});
  },
  fleet: (query: Query, signal: AbortSignal) => get<Fleet>("/appliances", query, signal),
  appliance: (uuid: string, signal: AbortSignal) => get<ApplianceDetail>(one(uuid), {}, signal),
  remove: async (uuid: string): Promise<void> => {
    await request(one(uuid), {method: "DELETE"});
  },
  alarms: (query: Query, signal: AbortSignal) => get<Page<Alarm>>("/alarms", query, signal),
  acknowledge: async (alarm: string, note: string): Promise<Acknowledgement> =>
    (await request(acknowledgement(alarm), {
      method: "PUT",
      headers: {"Content-Type": "application/json"},
      body: JSON.stringify({note}),
    })).json(),
  takeBack: async (alarm: string): Promise<void> => {
    await request(acknowledgement(alarm), {method: "DELETE"});
  },
  // Those of one appliance, or of all.
  events: (uuid: string | undefined, query: Query, signal: AbortSignal) =>
    get<Page<LogEvent>>(uuid === undefined ? "/events" : `${one(uuid)}/events`, query, signal),
  resources: async (uuid: string, signal: AbortSignal) =>
    (await get<{items: Resource[]}>(`${one(uuid)}/resources`, {}, signal)).items,
  resource: (uuid: string, uri: string, signal: AbortSignal) =>
    get<ResourceDetail>(`${one(uuid)}/resources/detail`, {uri}, signal),
  numbers: async (uuid: string, signal: AbortSignal) =>
    (await get<{items: Quantified[]}>(`${one(uuid)}/numbers`, {}, signal)).items,
  history: (uuid: string, query: Query, signal: AbortSignal) =>
    get<History>(`${one(uuid)}/history`, query, signal),
};
