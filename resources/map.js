"use strict";

// The program calls moveMap(latitude, longitude), in degrees, whenever the car is elsewhere. All else the page
// works out of these calls: the trail, the heading, where the trail breaks.
const startView = { center: [36.4, 127.9], zoom: 7 }; // the whole of Korea
const carZoom = 16;
const breakMetres = 200; // no car gets as far in the second between two positions
const headingMetres = 2; // a standing car's positions scatter by less
const mostTrailPoints = 20000;
const tileRetryMs = 60000;

const view = { map: null, marker: null, isFollowing: true, position: null, trail: [], trailPoints: 0 };

function moveMap(latitude, longitude) {
    if (!view.map || !Number.isFinite(latitude) || !Number.isFinite(longitude))
        return;
    const position = L.latLng(latitude, longitude);
    const isFirst = view.position === null;
    extendTrail(position);
    view.position = position;
    view.marker.setLatLng(position);
    if (isFirst) {
        view.marker.addTo(view.map);
        view.map.setView(position, carZoom, { animate: false });
    } else if (view.isFollowing) {
        center();
    }
}

// A page that isn't shown asks for no tiles: the map catches up when it is seen again.
function center() {
    if (!document.hidden)
        view.map.panTo(view.position, { animate: false });
}

function extendTrail(position) {
    const metres = view.position ? view.map.distance(view.position, position) : Infinity;
    if (metres > breakMetres) {
        view.trail.push(L.polyline([position], { color: "#ffcc00", weight: 4, opacity: 0.9 }).addTo(view.map));
        view.marker.turnTo(null);
    } else {
        view.trail[view.trail.length - 1].addLatLng(position);
        if (metres > headingMetres)
            view.marker.turnTo(bearing(view.position, position));
    }
    ++view.trailPoints;
    while (view.trailPoints > mostTrailPoints && view.trail.length > 1) {
        const oldest = view.trail.shift();
        view.trailPoints -= oldest.getLatLngs().length;
        oldest.remove();
    }
}

// Of the great circle, in degrees from north, clockwise.
function bearing(from, to) {
    const radians = degrees => degrees * Math.PI / 180;
    const [a, b, across] = [radians(from.lat), radians(to.lat), radians(to.lng - from.lng)];
    const east = Math.sin(across) * Math.cos(b);
    const north = Math.cos(a) * Math.sin(b) - Math.sin(a) * Math.cos(b) * Math.cos(across);
    return Math.atan2(east, north) * 180 / Math.PI;
}

function svg(name, attributes) {
    const element = document.createElementNS("http://www.w3.org/2000/svg", name);
    for (const [key, value] of Object.entries(attributes))
        element.setAttribute(key, value);
    return element;
}

// A disc while the heading is unknown, else an arrow head.
function makeMarker() {
    const picture = svg("svg", { viewBox: "-14 -14 28 28" });
    const disc = picture.appendChild(svg("circle", { r: 8 }));
    const arrow = picture.appendChild(svg("path", { d: "M0,-12 L9,10 L0,5 L-9,10 Z" }));
    const marker = L.marker([0, 0], {
        icon: L.divIcon({ className: "car", html: picture, iconSize: [28, 28] }), interactive: false, keyboard: false
    });
    marker.turnTo = heading => {
        disc.setAttribute("visibility", heading === null ? "visible" : "hidden");
        arrow.setAttribute("visibility", heading === null ? "hidden" : "visible");
        if (heading !== null)
            arrow.setAttribute("transform", `rotate(${heading.toFixed(1)})`);
    };
    return marker;
}

// Stands below the map service's pictures, and alone where these can't be had.
const Grid = L.GridLayer.extend({
    createTile() {
        const size = this.getTileSize();
        const tile = L.DomUtil.create("canvas", "leaflet-tile");
        tile.width = size.x;
        tile.height = size.y;
        const context = tile.getContext("2d");
        const line = (x, y, colour) => {
            context.fillStyle = colour;
            context.fillRect(x, 0, 1, size.y);
            context.fillRect(0, y, size.x, 1);
        };
        for (let part = 1; part < 4; ++part)
            line(part * size.x / 4, part * size.y / 4, "#202429");
        line(0, 0, "#30363d");
        return tile;
    }
});

// Without a network the attempts would go on with each step of the car, so they rest for a while.
function addTiles(address, attribution) {
    if (address === "")
        return;
    const text = document.createElement("span");
    text.textContent = attribution;
    const tiles = L.tileLayer(address, { maxZoom: 19, attribution: text.innerHTML });
    let hasLoaded = false;
    const retry = () => {
        if (!view.map.hasLayer(tiles))
            tiles.addTo(view.map);
    };
    tiles.on("tileload", () => { hasLoaded = true; });
    tiles.on("tileerror", () => {
        if (hasLoaded || !view.map.hasLayer(tiles))
            return;
        tiles.remove();
        setTimeout(retry, tileRetryMs);
    });
    window.addEventListener("online", retry);
    tiles.addTo(view.map);
}

function addFollowButton(text) {
    const button = L.DomUtil.create("button", "follow");
    button.textContent = text;
    button.hidden = true;
    const setFollowing = isFollowing => {
        view.isFollowing = isFollowing;
        button.hidden = isFollowing;
        if (isFollowing && view.position)
            center();
    };
    button.addEventListener("click", () => setFollowing(true));
    L.DomEvent.disableClickPropagation(button);
    const control = L.control({ position: "topright" });
    control.onAdd = () => button;
    control.addTo(view.map);
    view.map.on("dragstart", () => setFollowing(false));
}

function makeMap(application) {
    view.map = L.map("map", { preferCanvas: true, zoomControl: false, ...startView });
    view.map.attributionControl.setPrefix("Leaflet");
    new Grid({ maxZoom: 19 }).addTo(view.map);
    addTiles(application.tileAddress, application.attribution);
    L.control.zoom({ zoomInTitle: application.zoomInText, zoomOutTitle: application.zoomOutText }).addTo(view.map);
    L.control.scale({ imperial: false }).addTo(view.map);
    addFollowButton(application.followText);
    view.marker = makeMarker();
    document.addEventListener("visibilitychange", () => {
        if (view.isFollowing && view.position)
            center();
    });
    new ResizeObserver(() => view.map.invalidateSize({ animate: false })).observe(view.map.getContainer());
}

document.addEventListener("DOMContentLoaded", () => {
    new QWebChannel(qt.webChannelTransport, channel => {
        const application = channel.objects.application;
        makeMap(application);
        application.post("mapReady");
    });
});
