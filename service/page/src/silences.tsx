// SPDX-License-Identifier: Apache-2.0
// When nothing was heard of an appliance: now, and the last few times.
import {Link} from "./address";
import {SilentSince} from "./alarmlist";
import {type Alarm, api} from "./api";
import {durationText, Moment} from "./format";
import {concerns, useChanges} from "./live";
import {useLoad} from "./load";
import {Shown} from "./states";

const MOST = 5;

function Silence({one}: {one: Alarm}) {
  if (one.ended === null) {
    return <li class={one.offline ? "offline" : "late"} data-silence={one.id}>
      <span class="mark"><SilentSince alarm={one} /></span></li>;
  }
  const seconds = (Date.parse(one.ended) - Date.parse(one.opened)) / 1000;
  return (
    <li data-silence={one.id}><Moment time={one.opened} />
      <span class="under muted">Late{one.offline && ", then offline"}, heard again
        after {durationText(seconds)}</span></li>
  );
}

export function Silences({uuid}: {uuid: string}) {
  const silences = useLoad("", async (signal) => {
    const list = (state: string) => api.alarms({uuid, kind: "silence", state, limit: MOST}, signal);
    const [open, ended] = await Promise.all([list("open"), list("ended")]);
    return {items: [...open.items, ...ended.items], isOpen: ended.items.length === 0};
  });
  useChanges((change) => {
    if (concerns(change, uuid, "appliance")) silences.reload();
  });
  const all = `/alarms?kind=silence&uuid=${encodeURIComponent(uuid)}`;
  return (
    <section class="card" aria-labelledby="silent">
      <h2 id="silent">Silent</h2>
      <Shown of={silences} what="its silences" rows={2}>{({items, isOpen}) => items.length > 0
        ? <><ol class="silences">{items.map((one) => <Silence key={one.id} one={one} />)}</ol>
            <Link to={isOpen ? all : `${all}&state=ended`}>All in the list of alarms</Link></>
        : <p class="muted">Not once, as far as is known.</p>}
      </Shown>
    </section>
  );
}
