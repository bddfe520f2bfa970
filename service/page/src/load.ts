// SPDX-License-Identifier: Apache-2.0
// Data that a view loads, and loads again when they have changed.
import {useCallback, useEffect, useRef, useState} from "preact/hooks";

export interface Loaded<T> {
  data: T | undefined;         // loaded last; stays while newer data are being loaded
  error: Error | undefined;    // why the last attempt failed
  key: string | undefined;     // the key for which `data` was loaded
  reload: () => void;          // loads again soon, at most once a second
  change: (change: (data: T) => T) => void;  // puts newer data in the place of those that there are
}

const SPACING = 1_000;

// Makes a function that runs `call` at most once every `spacing` milliseconds. Calls that come too
// early are put off and run together as one.
export function useSpaced(call: () => void, spacing: number): () => void {
  const timer = useRef<number>();
  const last = useRef(-Infinity);
  useEffect(() => () => clearTimeout(timer.current), []);
  return useCallback(() => {
    if (timer.current !== undefined) return;
    timer.current = window.setTimeout(() => {
      timer.current = undefined;
      last.current = Date.now();
      call();
    }, Math.max(0, last.current + spacing - Date.now()));
  }, [call, spacing]);
}

// Loads data whenever `key` changes. `load` may be a new function at each call.
export function useLoad<T>(key: string, load: (signal: AbortSignal) => Promise<T>): Loaded<T> {
  const [seen, setSeen] = useState<Omit<Loaded<T>, "reload" | "change">>(
      {data: undefined, error: undefined, key: undefined});
  const latest = useRef(load);
  latest.current = load;
  const again = useRef<() => void>(() => {});

  useEffect(() => {
    const stop = new AbortController();
    let timer: number | undefined;
    let started = 0;
    let busy = false;
    let dirty = false;

    const start = async () => {
      timer = undefined;
      started = Date.now();
      busy = true;
      try {
        const data = await latest.current(stop.signal);
        if (!stop.signal.aborted) setSeen({data, error: undefined, key});
      } catch (fault) {
        if (!stop.signal.aborted) setSeen((before) => ({...before, error: fault as Error}));
      }
      busy = false;
      if (dirty) schedule();
    };
    const schedule = () => {
      if (stop.signal.aborted || timer !== undefined) return;
      dirty = busy;
      if (!busy) timer = window.setTimeout(start, Math.max(0, started + SPACING - Date.now()));
    };
    again.current = schedule;
    void start();
    return () => {
      stop.abort();
      clearTimeout(timer);
    };
  }, [key]);

  const reload = useCallback(() => again.current(), []);
  const change = useCallback((change: (data: T) => T) => setSeen((before) =>
    before.data === undefined ? before : {...before, data: change(before.data)}), []);
  return {...seen, reload, change};
}
