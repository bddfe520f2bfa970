// SPDX-License-Identifier: Apache-2.0
// The service's stream of changes. It is kept open, and opened again when it ends.
import {ApiError, type Appliance, request} from "./api";

export interface Change {
  type: string;  // "appliance", "event", "resource", "gone", "more": anything of the appliance may
                 // have changed, "reset": anything may, and "heartbeats"
  uuid: string;  // empty for "reset" and "heartbeats"
  heard?: ReadonlyMap<string, string>;  // "heartbeats": the times of the last ones by UUID
  appliance?: Appliance;                // "appliance": as it is now
}

export type Link =
  | {state: "connecting"}
  | {state: "live"}
  | {state: "lost"; retryAt: number};  // milliseconds of the reader's clock

export interface Listener {
  changed: (change: Change) => void;
  linked: (link: Link) => void;
  alive: () => void;  // the service has written something
}

const SILENCE = 50_000;  // milliseconds; the service writes at least every 15 s
const FIRST_PAUSE = 1_000;
const LONGEST_PAUSE = 30_000;

let endPause = () => {};

// Ends the pause before the next attempt.
export const retry = () => endPause();

interface Heartbeats {
  heartbeats: {time: string; uuids: string[]}[];
}

const heardIn = ({heartbeats}: Heartbeats) =>
  new Map(heartbeats.flatMap(({time, uuids}) => uuids.map((uuid): [string, string] => [uuid, time])));

function changeOf(block: string): Change | undefined {
  let type = "message";
  const data: string[] = [];
  for (const line of block.split("\n")) {
    const [, name, value] = line.match(/^(\w+):? ?(.*)$/) ?? [];
    if (name === "event") type = value ?? "";
    if (name === "data") data.push(value ?? "");
  }
  if (type === "reset") return {type, uuid: ""};
  if (data.length === 0) return undefined;
  try {
    const told = JSON.parse(data.join("\n"));
    if (type === "heartbeats") return {type, uuid: "", heard: heardIn(told)};
    const appliance: Appliance | undefined = type === "appliance" ? told : undefined;
    return {type, uuid: String(told.uuid ?? ""), ...(appliance && {appliance})};
  } catch {
    return {type: "reset", uuid: ""};
  }
}

async function read(body: ReadableStream<Uint8Array<ArrayBuffer>>, stop: AbortController,
                    listener: Listener): Promise<void> {
  const reader = body.pipeThrough(new TextDecoderStream()).getReader();
  let rest = "";
  for (;;) {
    const timer = setTimeout(() => stop.abort(), SILENCE);
    const {done, value} = await reader.read().finally(() => clearTimeout(timer));
    if (done) return;
    listener.alive();
    const blocks = (rest + value).replaceAll("\r\n", "\n").split("\n\n");
    rest = blocks.pop() ?? "";
    for (const change of blocks.map(changeOf)) {
      if (change) listener.changed(change);
    }
  }
}

const pause = (time: number) => new Promise<void>((resolve) => {
  const timer = setTimeout(resolve, time);
  endPause = () => {
    clearTimeout(timer);
    resolve();
  };
});

// Follows the stream until `signal` stops it or the session has ended.
export async function follow(signal: AbortSignal, listener: Listener): Promise<void> {
  let wait = FIRST_PAUSE;
  signal.addEventListener("abort", retry, {once: true});
  while (!signal.aborted) {
    const attempt = new AbortController();
    signal.addEventListener("abort", () => attempt.abort(), {once: true});
    try {
      const answer = await request("/stream", {
        headers: {Accept: "text/event-stream"},
        signal: attempt.signal,
      });
      wait = FIRST_PAUSE;
      listener.linked({state: "live"});
      if (answer.body) await read(answer.body, attempt, listener);
    } catch (fault) {
      if (fault instanceof ApiError && fault.status === 401) return;
    }
    if (signal.aborted) return;
    const time = wait * (0.8 + 0.4 * Math.random());
    listener.linked({state: "lost", retryAt: Date.now() + time});
    await pause(time);
    wait = Math.min(2 * wait, LONGEST_PAUSE);
  }
}
