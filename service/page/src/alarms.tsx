// SPDX-License-Identifier: Apache-2.0
// The alarms and silences of all appliances, open or ended. The address holds filters and page.
import {addressWith, go, useAddress} from "./address";
import {AlarmList} from "./alarmlist";
import {type Alarm, api, type Page, SEVERITIES} from "./api";
import {Choice, Filters, Pages, TextField, type Values, valuesIn} from "./filters";
import {concerns, useChanges} from "./live";
import {useLoad} from "./load";
import {useFleetTitle} from "./news";
import {Notice, Shown} from "./states";

const PAGE = 50;
const FILTERS = ["q", "severity", "kind", "acknowledged", "uuid"] as const;
const KINDS = [["alarm", "Alarm of the appliance"], ["silence", "Appliance silent"]] as const;
const ANSWERS = [["false", "No"], ["true", "Yes"]] as const;

function States({isEnded}: {isEnded: boolean}) {
  const choice = (text: string, state: string) => (
    <button aria-pressed={isEnded === Boolean(state)}
            onClick={() => go(addressWith({state, after: ""}))}>{text}</button>
  );
  return (
    <div class="switch" role="group" aria-label="Alarms that are">
      {choice("Open", "")}{choice("Ended", "ended")}
    </div>
  );
}

// `name` is that of the one appliance whose alarms are shown.
function AlarmFilters({values, name}: {values: Values; name: string | undefined}) {
  const uuid = values["uuid"];
  return (
    <Filters name="Alarms" values={values}>
      <TextField name="q" title="Text" value={values["q"]} hint="Message, appliance, note, …" />
      <Choice name="severity" title="Severity" value={values["severity"]}
              choices={SEVERITIES.map((one) => [one, one])} />
      <Choice name="kind" title="Kind" value={values["kind"]} choices={KINDS} />
      <Choice name="acknowledged" title="Acknowledged" value={values["acknowledged"]} choices={ANSWERS} />
      {uuid && <Choice name="uuid" title="Appliance" value={uuid} choices={[[uuid, name || uuid]]} />}
    </Filters>
  );
}

function None({isNarrowed, isEnded, goesOn}: Record<"isNarrowed" | "isEnded" | "goesOn", boolean>) {
  if (isNarrowed) {
    return (
      <Notice icon="search" title="No alarm fits">
        {goesOn ? "The search goes on on the next page." : "None has what you search and filter for."}
      </Notice>
    );
  }
  if (isEnded) return <Notice icon="empty" title="No alarm has ended yet" />;
  return <Notice icon="clear" title="No open alarms">No appliance has one, and none is silent.</Notice>;
}

interface ListProps {
  page: Page<Alarm>;
  of: string | undefined;  // what of all alarms it is: another list has its own order and forms
  isEnded: boolean;
  isPaged: boolean;
  isFiltered: boolean;
  reload: () => void;
}

function List({page, of, isEnded, isPaged, isFiltered, reload}: ListProps) {
  return (
    <>
      <AlarmList key={of} items={page.items} tellsWhose reload={reload}>
        <None isNarrowed={isFiltered || isPaged} isEnded={isEnded} goesOn={page.next !== null} />
      </AlarmList>
      <Pages of={page} place="after" next={page.next} paged={isPaged}
             first={isEnded ? "Newest" : "First page"} more={isEnded ? "Older" : "Next page"} />
    </>
  );
}

export function AlarmsPage() {
  const {query} = useAddress();
  const values = valuesIn(query, FILTERS);
  const place = valuesIn(query, ["state", "after"]);
  const ask = {...values, ...place};
  const key = JSON.stringify(ask);
  const loaded = useLoad(key, async (signal) => ({
    page: await api.alarms({...ask, limit: PAGE}, signal),
    isEnded: ask["state"] === "ended",
  }));
  useChanges((change) => {
    if (concerns(change, ask["uuid"] || undefined, "appliance", "event")) loaded.reload();
  });
  useFleetTitle("Alarms");
  return (
    <section class="card log" aria-labelledby="alarms">
      <div class="head">
        <h1 id="alarms">Alarms</h1>
        <States isEnded={place["state"] === "ended"} />
      </div>
      <AlarmFilters values={values} name={loaded.data?.page.items[0]?.name} />
      <div class={loaded.key === key ? "" : "old"}>
        <Shown of={loaded} what="the alarms" rows={6}>{({page, isEnded}) =>
          <List page={page} of={loaded.key} isEnded={isEnded} isPaged={Boolean(place["after"])}
                isFiltered={Object.values(values).some(Boolean)} reload={loaded.reload} />}
        </Shown>
      </div>
    </section>
  );
}
