// The notifications of a service, as they come.

// \param onLine        called with each line of a recording
// \param onConnection  called with the state of the connection
export function listen(onLine, onConnection) {
    const events = new EventSource("events");
    events.addEventListener("message", ({data}) => onLine(JSON.parse(data)));
    events.addEventListener("connection", ({data}) =>
        onConnection(JSON.parse(data).connected ? "connected" : "no service"));
    events.addEventListener("error", () => onConnection("no answer from SubtitleMgrView"));
}
