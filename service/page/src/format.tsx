// SPDX-License-Identifier: Apache-2.0
// Texts for numbers, units and times, in the reader's language and time zone.
import {useEffect, useState} from "preact/hooks";
import {serviceNow} from "./api";

const plain = new Intl.NumberFormat(undefined, {maximumFractionDigits: 6});
const moment = new Intl.DateTimeFormat(undefined, {dateStyle: "medium", timeStyle: "medium"});
const exact = new Intl.DateTimeFormat(undefined, {dateStyle: "full", timeStyle: "long"});
const day = new Intl.DateTimeFormat(undefined, {dateStyle: "full"});
const clock = new Intl.DateTimeFormat(undefined, {timeStyle: "medium"});

const weekday = new Intl.DateTimeFormat(undefined, {weekday: "short"});
const date = new Intl.DateTimeFormat(undefined, {day: "numeric", month: "short"});

export const numberText = (value: number) => plain.format(value);

export function withUnit(value: number, unit: string | null): string {
  if (!unit) return numberText(value);
  return `${numberText(value)}\u202f${unit}`;
}

export const dayText = (time: Date) => day.format(time);
// The day of a time in seconds since 1970, on two lines: weekday and date.
export const shortDay = (time: number) =>
  `${weekday.format(time * 1000)}\n${date.format(time * 1000)}`;
export const momentText = (time: Date) => moment.format(time);

const STEPS: readonly [seconds: number, name: string][] = [
  [86400, "d"], [3600, "h"], [60, "min"], [1, "s"],
];

// A duration, rounded down: "42 s", "5 min", "3 h 20 min", "12 d 4 h".
export function durationText(seconds: number): string {
  let rest = Math.max(0, Math.floor(seconds));
  const parts: string[] = [];
  for (const [size, name] of STEPS) {
    const count = Math.floor(rest / size);
    rest -= count * size;
    if (parts.length > 0 && count === 0) break;
    if (count > 0) parts.push(`${count}\u202f${name}`);
    // Seconds and minutes are shown without a smaller unit, since a rough value is enough.
    if (parts.length === 2 || (count > 0 && size <= 60)) break;
  }
  return parts.join(" ") || "0\u202fs";
}

// An interval, exact to the second unless it is some whole minutes.
export const intervalText = (seconds: number) =>
  seconds % 60 === 0 && seconds > 120 ? durationText(seconds) : `${numberText(seconds)}\u202fs`;

export function ageText(time: number): string {
  const seconds = (serviceNow() - time) / 1000;
  return seconds < 5 ? "just now" : `${durationText(seconds)} ago`;
}

const tickers = new Set<() => void>();
setInterval(() => {
  for (const tick of [...tickers]) tick();
}, 1_000);

// Makes the calling component render anew every second.
export function useTick(): void {
  const [, draw] = useState({});
  useEffect(() => {
    const tick = () => draw({});
    tickers.add(tick);
    return () => void tickers.delete(tick);
  }, []);
}

// How long ago a time was; the title has the time with its zone.
export function Age({time}: {time: string}) {
  useTick();
  const date = new Date(time);
  return <time dateTime={time} title={exact.format(date)}>{ageText(date.getTime())}</time>;
}

export function Moment({time, form = "moment"}: {time: string; form?: "moment" | "clock"}) {
  const date = new Date(time);
  return (
    <time dateTime={time} title={exact.format(date)}>
      {(form === "clock" ? clock : moment).format(date)}
    </time>
  );
}

// A time and how long ago it was.
export function MomentAndAge({time}: {time: string}) {
  return <><Moment time={time} /> <span class="muted age">(<Age time={time} />)</span></>;
}
