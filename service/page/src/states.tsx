// SPDX-License-Identifier: Apache-2.0
// What a view shows without data: while it loads, when there are none, and after a failure.
import type {ComponentChildren} from "preact";
import {useEffect, useRef, useState} from "preact/hooks";
import {ApiError} from "./api";
import {Icon, type IconName} from "./icons";
import type {Loaded} from "./load";

interface NoticeProps {
  icon: IconName;
  title: string;
  children?: ComponentChildren;
  alert?: boolean;
}

export function Notice({icon, title, children, alert}: NoticeProps) {
  return (
    <div class="notice" role={alert ? "alert" : "status"}>
      <Icon name={icon} />
      <p class="notice-title">{title}</p>
      {children && <div class="muted">{children}</div>}
    </div>
  );
}

// What is moved sideways where it is too wide; then the keyboard can move it too.
export function Scroll({name, children}: {name: string; children: ComponentChildren}) {
  const place = useRef<HTMLDivElement>(null);
  const [wide, setWide] = useState(false);
  useEffect(() => {
    const at = place.current!;
    const observer = new ResizeObserver(() => setWide(at.scrollWidth > at.clientWidth));
    observer.observe(at);
    if (at.firstElementChild) observer.observe(at.firstElementChild);
    return () => observer.disconnect();
  }, []);
  const reached = wide ? {tabIndex: 0, role: "group", "aria-label": name} as const : {};
  return <div class="scroll" ref={place} {...reached}>{children}</div>;
}

export function Loading({what, rows = 4}: {what: string; rows?: number}) {
  return (
    <div class="loading" role="status">
      <span class="hidden">Loading {what}</span>
      {Array.from({length: rows}, (_, i) => <span key={i} class="bone" />)}
    </div>
  );
}

// The notice beside shown data that they are not the newest.
function StaleNotice({error, reload}: {error: Error; reload: () => void}) {
  return (
    <p class="stale" role="alert">
      <Icon name="broken" /> Not up to date: {error.message}{" "}
      <button class="quiet" onClick={reload}>Try again</button>
    </p>
  );
}

interface ShownProps<T> {
  of: Loaded<T>;
  what: string;  // follows "Loading" and "Could not load"
  rows?: number;
  children: (data: T) => ComponentChildren;
}

// Shows the loaded data through `children`, or says why there are none.
export function Shown<T>({of, what, rows, children}: ShownProps<T>) {
  const {data, error, reload} = of;
  if (data !== undefined) {
    return <>{error && <StaleNotice error={error} reload={reload} />}{children(data)}</>;
  }
  if (!error) return <Loading what={what} {...(rows ? {rows} : {})} />;
  const retry = !(error instanceof ApiError) || error.status !== 404;
  return (
    <Notice icon={error instanceof ApiError && error.status > 0 ? "Alarm" : "broken"} title={`Could not load ${what}`} alert>
      <p>{error.message}</p>
      {retry && <button onClick={reload}>Try again</button>}
    </Notice>
  );
}
