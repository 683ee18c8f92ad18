import QtQuick
import QtWebChannel // qmllint disable
import QtWebEngine
import Vornex.Map

/// The web view with the map's page. Loaded when a map is first looked at, as it brings processes of its own.
Item {
    id: root

    required property string tileAddress ///< of the map service, with {z}, {x} and {y}; empty for none
    required property string attribution ///< to the map service

    readonly property alias coordinator: coordinator
    readonly property url page: "qrc:/map/map.html"
    readonly property int mostRestarts: 3
    property int ends: 0 ///< of the page's process
    readonly property bool hasFailed: ends > mostRestarts

    /// For tests: what a script gives, handed to a function.
    function evaluate(script: string, callback: var) {
        webView.runJavaScript(script, callback);
    }

    Coordinator {
        id: coordinator
        onScriptRequested: script => webView.runJavaScript(script)
    }
    QtObject {
        id: application

        readonly property string tileAddress: root.tileAddress
        readonly property string attribution: root.attribution
        readonly property string followText: qsTr("차량 위치로")
        readonly property string zoomInText: qsTr("확대")
        readonly property string zoomOutText: qsTr("축소")
        WebChannel.id: "application" // qmllint disable

        function post(name: string) {
            coordinator.receive(name);
        }
    }
    WebChannel {
        id: channel
        registeredObjects: [application]
    }
    WebEngineProfile {
        id: ownProfile
        offTheRecord: true // leaves nothing behind about where the car was
        httpUserAgent: Qt.application.name + "/" + Qt.application.version
    }
    Timer {
        id: reloading
        interval: 0 // not from within the signal that the page has ended
        onTriggered: webView.reload()
    }
    WebEngineView {
        id: webView

        anchors.fill: parent
        activeFocusOnTab: true
        backgroundColor: "transparent"
        profile: ownProfile
        webChannel: channel
        Accessible.role: Accessible.WebDocument
        Accessible.name: qsTr("지도")

        settings.javascriptCanOpenWindows: false
        settings.localContentCanAccessFileUrls: false
        settings.localStorageEnabled: false
        settings.pluginsEnabled: false

        Component.onCompleted: {
            MapEngine.restrict(ownProfile, root.tileAddress);
            url = root.page;
        }
        onContextMenuRequested: request => request.accepted = true
        onNavigationRequested: request => {
            if (request.url.toString() !== root.page.toString())
                request.action = WebEngineNavigationRequest.IgnoreRequest;
        }
        onJavaScriptConsoleMessage: (level, message, line, source) => {
            if (level === WebEngineView.ErrorMessageLevel)
                console.warn("map:", message, source + ":" + line);
        }
        // A page that ends again and again is left alone.
        onRenderProcessTerminated: {
            coordinator.losePage();
            ++root.ends;
            if (!root.hasFailed)
                reloading.start();
        }
    }
}
