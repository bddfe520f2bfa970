// SPDX-License-Identifier: Apache-2.0
// One appliance: its identity, its state, its events, its numbers and its documents.
import type {ComponentChildren} from "preact";
import {useEffect} from "preact/hooks";
import {BackLink, Link, ViewLink} from "./address";
import {AlarmList} from "./alarmlist";
import {api, ApiError, type ApplianceDetail, isHeard} from "./api";
import {Charts} from "./charts";
import {Documents} from "./documents";
import {Events} from "./events";
import {Age, intervalText, Moment, MomentAndAge} from "./format";
import {StateMark} from "./icons";
import {concerns, useChanges} from "./live";
import {useLoad} from "./load";
import {useTitle} from "./news";
import {Removal} from "./removal";
import {Silences} from "./silences";
import {Notice, Shown} from "./states";

const MOST = 500;        // open alarms that are shown
const REFRESH = 30_000;  // milliseconds; an appliance becomes late without any event

function Fact({name, children}: {name: string; children: ComponentChildren}) {
  return <div><dt>{name}</dt><dd>{children ?? <span class="muted">Not told</span>}</dd></div>;
}

function Identity({one}: {one: ApplianceDetail}) {
  return (
    <section class="card" aria-labelledby="identity">
      <h2 id="identity">Identity</h2>
      <dl class="facts">
        <Fact name="UUID"><span class="code">{one.uuid}</span></Fact>
        <Fact name="Model">{one.model}</Fact>
        <Fact name="Serial number">{one.serial}</Fact>
        <Fact name="Firmware">{one.firmware}</Fact>
        <Fact name="Address">{one.address}</Fact>
        <Fact name="Account">{one.account}</Fact>
        <Fact name="Registered"><MomentAndAge time={one.registered} /></Fact>
        {one.chassisList.map(({id, name}) => (
          <Fact key={id} name="Chassis">{name} <span class="code muted">{id}</span></Fact>))}
      </dl>
    </section>
  );
}

function Heartbeat({one}: {one: ApplianceDetail}) {
  return (
    <section class={`card heartbeat ${one.state}`} aria-labelledby="heartbeat">
      <h2 id="heartbeat">Last heartbeat</h2>
      <p class="large">{one.lastHeartbeat ? <Age time={one.lastHeartbeat} /> : "None yet"}</p>
      <p class="muted">
        {one.lastHeartbeat && <><Moment time={one.lastHeartbeat} /><br /></>}
        {one.interval !== null && <>Due every {intervalText(one.interval)}, {one.heartbeats} so far</>}
      </p>
    </section>
  );
}

// There are no open alarms, as far as is known.
function NoAlarms({one}: {one: ApplianceDetail}) {
  if (isHeard(one)) return <Notice icon="clear" title="No open alarms" />;
  if (one.lastHeartbeat === null) {
    return (
      <Notice icon={one.state === "alive" ? "late" : one.state} title="No alarms are known">
        The appliance has not sent a heartbeat yet.
      </Notice>
    );
  }
  return (
    <Notice icon={one.state} title="No alarms were open when the appliance was last heard">
      Its last heartbeat came <MomentAndAge time={one.lastHeartbeat} />. What has happened since is
      not known.
    </Notice>
  );
}

function OpenAlarms({one}: {one: ApplianceDetail}) {
  const {uuid} = one;
  const alarms = useLoad("", (signal) => api.alarms({uuid, kind: "alarm", limit: MOST}, signal));
  useChanges((change) => {
    if (concerns(change, uuid, "appliance", "event")) alarms.reload();
  });
  return (
    <section class="card" aria-labelledby="alarms">
      <h2 id="alarms">Open alarms</h2>
      <Shown of={alarms} what="the open alarms" rows={2}>{({items, next}) => (
        <>
          <AlarmList items={items} tellsWhose={false} reload={alarms.reload}><NoAlarms one={one} /></AlarmList>
          {next !== null && <Link to={`/alarms?uuid=${encodeURIComponent(uuid)}`}>There are more</Link>}
        </>
      )}</Shown>
    </section>
  );
}

function Unknown() {
  return (
    <section class="card">
      <Notice icon="offline" title="There is no such appliance">
        <p>It has never registered with this service, or it has been removed.</p>
        <ViewLink view="/" class="button">Show the fleet</ViewLink>
      </Notice>
    </section>
  );
}

export function AppliancePage({uuid}: {uuid: string}) {
  const loaded = useLoad("", (signal) => api.appliance(uuid, signal));
  useChanges((change) => {
    const ours = change.uuid === uuid || change.heard?.has(uuid);
    if (ours || change.type === "reset") loaded.reload();
  });
  useEffect(() => {
    const timer = setInterval(loaded.reload, REFRESH);
    return () => clearInterval(timer);
  }, []);
  useTitle(loaded.data?.name || "Appliance", loaded.data?.alarms);

  const gone = loaded.error instanceof ApiError && loaded.error.status === 404;
  return (
    <>
      <BackLink />
      {(gone || !loaded.data) && <h1 class="hidden">Appliance</h1>}
      {gone ? <Unknown /> : <Shown of={loaded} what="the appliance" rows={6}>{(one) => (
        <>
          <div class="title">
            <h1>{one.name || one.uuid}</h1>
            <StateMark state={one.state} />
          </div>
          <div class="columns">
            <div class="column"><OpenAlarms one={one} /><Charts one={one} /></div>
            <div class="column side"><Heartbeat one={one} /><Silences uuid={uuid} /><Identity one={one} /></div>
          </div>
          <Events uuid={uuid} />
          <Documents uuid={uuid} />
          <Removal one={one} />
        </>
      )}</Shown>}
    </>
  );
}
