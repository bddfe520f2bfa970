// SPDX-License-Identifier: Apache-2.0
import "uplot/dist/uPlot.min.css";
import "./style.css";
import {type ComponentType, render} from "preact";
import {useEffect, useRef, useState} from "preact/hooks";
import {applianceOf, useAddress, type View, viewOf} from "./address";
import {AlarmsPage} from "./alarms";
import {api, ApiError, onSignedOut, type Session} from "./api";
import {AppliancePage} from "./appliance";
import {EventsPage} from "./events";
import {FleetPage} from "./fleet";
import {Frame} from "./frame";
import {closeStream, openStream} from "./live";
import {SignIn} from "./signin";
import {Loading, Notice} from "./states";

type Who =
  | {at: "door"; ended: boolean}  // ended: there was a session
  | {at: "work"; session: Session}
  | {at: "nowhere"; error?: Error};  // not known yet, or `error` says why not

const PAGES: Record<View, ComponentType> = {"/": FleetPage, "/alarms": AlarmsPage, "/events": EventsPage};

function Content() {
  const {path} = useAddress();
  const shown = useRef(path);
  useEffect(() => {
    if (path === shown.current) return;
    shown.current = path;
    // The element with the focus is gone. The new view gets the focus, so that the keyboard goes on
    // there.
    document.getElementById("main")?.focus({preventScroll: true});
  }, [path]);
  const view = viewOf(path);
  if (view) {
    const Page = PAGES[view];
    return <Page />;
  }
  const uuid = applianceOf(path)!;
  return <AppliancePage key={uuid} uuid={uuid} />;
}

function App() {
  const [who, setWho] = useState<Who>({at: "nowhere"});

  const ask = () => {
    api.session().then((session) => setWho({at: "work", session}), (error) => {
      if (!(error instanceof ApiError && error.status === 401)) setWho({at: "nowhere", error});
    });
  };
  useEffect(() => {
    onSignedOut(() => setWho((before) => before.at === "door" ? before
                                       : {at: "door", ended: before.at === "work"}));
    ask();
  }, []);
  useEffect(() => {
    if (who.at !== "work") return;
    openStream();
    return closeStream;
  }, [who.at]);

  if (who.at === "work") {
    return (
      <Frame session={who.session} signedOut={() => setWho({at: "door", ended: false})}>
        <Content />
      </Frame>
    );
  }
  if (who.at === "door") return <SignIn ended={who.ended} done={ask} />;
  return (
    <main class="door">
      {who.error
        ? <Notice icon="broken" title="The service does not answer" alert>
            <p>{who.error.message}</p><button onClick={ask}>Try again</button>
          </Notice>
        : <Loading what="the page" />}
    </main>
  );
}

render(<App />, document.getElementById("app")!);
