// SPDX-License-Identifier: Apache-2.0
// What narrows a list: fields whose values the address holds, and the links of its pages.
import type {ComponentChildren} from "preact";
import {useLayoutEffect, useRef} from "preact/hooks";
import {addressWith, go, Link} from "./address";

export type Values = Readonly<Record<string, string>>;

// The values of the address by these names, empty where it has none.
export const valuesIn = (query: URLSearchParams, names: readonly string[]): Values =>
  Object.fromEntries(names.map((name) => [name, query.get(name) ?? ""]));

// The names of places in lists. What narrows a list leads to its first page.
const PLACES = {before: "", after: ""};

const narrow = (name: string, value: string) => go(addressWith({...PLACES, [name]: value}), true);

const valueOf = (event: Event) => (event.target as HTMLInputElement | HTMLSelectElement).value;

export function showAll(values: Values): void {
  const none = Object.keys(values).map((name) => [name, ""]);
  go(addressWith({...PLACES, ...Object.fromEntries(none)}), true);
}

interface FieldProps {
  name: string;
  title: string;
  value: string | undefined;
}

interface ChoiceProps extends FieldProps {
  choices: readonly (readonly [value: string, text: string])[];
}

export function Choice({name, title, value, choices}: ChoiceProps) {
  return (
    <label>{title}
      <select name={name} value={value} onChange={(event) => narrow(name, valueOf(event))}>
        <option value="">All</option>
        {choices.map(([choice, text]) => <option key={choice} value={choice}>{text}</option>)}
      </select>
    </label>
  );
}

export function TextField({name, title, value, hint}: FieldProps & {hint: string}) {
  return (
    <label class="grow">{title}
      <input type="search" name={name} value={value} maxLength={200} aria-keyshortcuts="/"
             placeholder={hint} onChange={(event) => narrow(name, valueOf(event))} />
    </label>
  );
}

// Converts a time of the address (UTC) to that of an input (the reader's zone), and back.
function toInput(time: string): string {
  const date = new Date(time);
  if (Number.isNaN(date.getTime())) return "";
  const local = new Date(date.getTime() - date.getTimezoneOffset() * 60_000);
  return local.toISOString().slice(0, 16);
}

function fromInput(text: string): string {
  const date = new Date(text);
  return Number.isNaN(date.getTime()) ? "" : date.toISOString().replace(/\.\d+/, "");
}

export function TimeField({name, title, value = ""}: FieldProps) {
  return (
    <label>{title}
      <input type="datetime-local" name={name} value={toInput(value)}
             onChange={(event) => narrow(name, fromInput(valueOf(event)))} />
    </label>
  );
}

interface FiltersProps {
  name: string;
  values: Values;  // all that the fields hold
  children: ComponentChildren;
}

export function Filters({name, values, children}: FiltersProps) {
  const filtered = Object.values(values).some(Boolean);
  return (
    <form class="filters" role="search" aria-label={name} onSubmit={(event) => event.preventDefault()}>
      {children}
      {filtered && <button type="button" class="quiet" onClick={() => showAll(values)}>Show all</button>}
    </form>
  );
}

const topOf = (section: HTMLElement) => section.getBoundingClientRect().top;

// Keeps the section's head at `top`, or shows it where it would be out of sight. The rows may have
// become too few for the page to reach that far; then the section stays higher than they are.
function keepHead(section: HTMLElement, top: number): void {
  const highest = parseFloat(getComputedStyle(section).scrollMarginTop);
  const wanted = Math.max(top, highest);
  section.style.minHeight = "";
  window.scrollBy(0, topOf(section) - wanted);
  const lack = Math.ceil(topOf(section) - wanted);
  if (lack <= 0) return;
  section.style.minHeight = `${section.offsetHeight + lack}px`;
  window.scrollBy(0, lack);
}

interface PagesProps {
  of: object;  // the page that is shown
  place: keyof typeof PLACES;
  next: string | number | null;
  paged: boolean;  // it is not the first
  first: string;   // what leads to the first, and to the next
  more: string;
}

// The links of a section's pages, which the address holds.
export function Pages({of, place, next, paged, first, more}: PagesProps) {
  const pages = useRef<HTMLElement>(null);
  const turned = useRef<{section: HTMLElement; top: number}>();
  const turn = () => {
    const section = pages.current!.closest<HTMLElement>("section.log")!;
    turned.current = {section, top: topOf(section)};
  };
  useLayoutEffect(() => {
    if (!turned.current) return;
    const {section, top} = turned.current;
    turned.current = undefined;
    keepHead(section, top);
    // The last page has no link to the next any more, and the first none to itself.
    if (document.activeElement === document.body) pages.current?.focus({preventScroll: true});
  }, [of]);
  return (
    <nav class="pages" aria-label="Pages of the list" ref={pages} tabIndex={-1} onClick={turn}>
      {paged && <Link key="first" to={addressWith({[place]: ""})}>{first}</Link>}
      {next !== null && <Link key="more" to={addressWith({[place]: String(next)})}>{more}</Link>}
    </nav>
  );
}
