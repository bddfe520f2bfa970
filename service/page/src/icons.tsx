// SPDX-License-Identifier: Apache-2.0
// Shapes by which states and severities differ even without colours.
import type {JSX} from "preact";
import type {Severity, State} from "./api";

const outline = {fill: "none", stroke: "currentColor", "stroke-width": 1.6,
                 "stroke-linecap": "round", "stroke-linejoin": "round"} as const;

const SHAPES = {
  alive: <><circle cx="8" cy="8" r="7" fill="currentColor" />
    <path d="M4.8 8.3l2.2 2.2 4.2-4.6" {...outline} stroke="var(--surface)" /></>,
  late: <><circle cx="8" cy="8" r="6.2" {...outline} /><path d="M8 4.6V8l2.3 1.6" {...outline} /></>,
  offline: <><circle cx="8" cy="8" r="6.2" {...outline} /><path d="M3.8 12.2l8.4-8.4" {...outline} /></>,
  Fault: <><path d="M5.2 1h5.6L15 5.2v5.6L10.8 15H5.2L1 10.8V5.2z" fill="currentColor" />
    <path d="M5.6 5.6l4.8 4.8m0-4.8l-4.8 4.8" {...outline} stroke="var(--surface)" /></>,
  Alarm: <><path d="M8 1.2l7.2 13H.8z" fill="currentColor" />
    <path d="M8 6v4m0 2.1v.1" {...outline} stroke="var(--surface)" /></>,
  Warning: <><path d="M8 1.4L14.6 8 8 14.6 1.4 8z" {...outline} /><path d="M8 5v3.4m0 2.2v.1" {...outline} /></>,
  clear: <path d="M2.6 8.6l3.6 3.6 7.2-8" {...outline} />,
  message: <><circle cx="8" cy="8" r="6.2" {...outline} /><path d="M8 7.4v3.8M8 4.9V5" {...outline} /></>,
  point: <path d="M1.4 9.5h2.8L6.4 4l3.2 8.4L11.6 8h3" {...outline} />,
  search: <><circle cx="7" cy="7" r="4.8" {...outline} /><path d="M10.6 10.6L14.4 14.4" {...outline} /></>,
  back: <path d="M9.8 3.2L5 8l4.8 4.8" {...outline} />,
  auto: <><circle cx="8" cy="8" r="6.2" {...outline} /><path d="M8 1.8a6.2 6.2 0 0 1 0 12.4z" fill="currentColor" /></>,
  light: <><circle cx="8" cy="8" r="3.2" {...outline} />
    <path d="M8 1v1.4M8 13.6V15M1 8h1.4M13.6 8H15M3 3l1 1M12 12l1 1M13 3l-1 1M4 12l-1 1" {...outline} /></>,
  dark: <path d="M13.8 9.8A6.2 6.2 0 0 1 6.2 2.2a6.2 6.2 0 1 0 7.6 7.6z" {...outline} />,
  broken: <><path d="M2 2l12 12" {...outline} />
    <path d="M1.6 6.2a9 9 0 0 1 3-1.9M7.4 3.6a9 9 0 0 1 7 2.6M4 9a6 6 0 0 1 3-1.7M10.4 7.9A6 6 0 0 1 12 9M8 12.6v.1" {...outline} /></>,
  empty: <><path d="M2 9.5l2-6h8l2 6v4H2z" {...outline} /><path d="M2 9.5h3.6l1 1.8h2.8l1-1.8H14" {...outline} /></>,
  mark: <path d="M1.6 8.6h3L6.4 4l3 8.2 2-3.6h3" {...outline} stroke-width="2" />,
} satisfies Record<string, JSX.Element>;

export type IconName = keyof typeof SHAPES;

// An icon beside a text that says the same; screen readers skip it.
export function Icon({name}: {name: IconName}) {
  return <svg class={`icon icon-${name}`} viewBox="0 0 16 16" aria-hidden="true">{SHAPES[name]}</svg>;
}

export const STATE_TEXT: Record<State, string> = {alive: "Alive", late: "Late", offline: "Offline"};

export function StateMark({state}: {state: State}) {
  return <span class={`mark ${state}`}><Icon name={state} />{STATE_TEXT[state]}</span>;
}

export function SeverityMark({severity}: {severity: Severity}) {
  return <span class={`mark ${severity}`}><Icon name={severity} />{severity}</span>;
}
