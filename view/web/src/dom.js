// Making of elements. Every text goes through textContent: names, notes and texts of events come from outside and
// are never read as markup.

const SVG = "http://www.w3.org/2000/svg";

/// Element with properties and children. A property beginning with "on" is a listener, "class" a class name,
/// "data" an object of data attributes; null, undefined and false leave out an attribute or a child.
export function h(strTag, props, ...children) {
    return fill(document.createElement(strTag), props, children);
}

export function svg(strTag, props, ...children) {
    return fill(document.createElementNS(SVG, strTag), props, children);
}

function fill(element, props, children) {
    for (const [name, value] of Object.entries(props ?? {})) {
        if (value === null || value === undefined || value === false) continue;
        if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
        else if (name === "class") element.setAttribute("class", value);
        else if (name === "data") Object.assign(element.dataset, value);
        else if (name === "value" || name === "checked") element[name] = value;
        else element.setAttribute(name, value === true ? "" : String(value));
    }
    append(element, children);
    return element;
}

function append(element, children) {
    for (const child of children) {
        if (Array.isArray(child)) append(element, child);
        else if (child instanceof Node) element.append(child);
        else if (child !== null && child !== undefined && child !== false) element.append(String(child));
    }
}

/// Sets a text only when it has changed, so that a quiet page causes no layout.
export function setText(element, strText) {
    if (element.textContent !== strText) element.textContent = strText;
}

export function setAttr(element, strName, strValue) {
    if (element.getAttribute(strName) !== strValue) element.setAttribute(strName, strValue);
}

/// Brings the children of an element to this list and order with as few moves as possible; keeps focus and scroll.
export function arrange(parent, elements) {
    const wanted = new Set(elements);
    for (const child of [...parent.children]) if (!wanted.has(child)) child.remove();
    let at = parent.firstElementChild;
    for (const element of elements) {
        if (element === at) at = at.nextElementSibling;
        else parent.insertBefore(element, at);
    }
}
