// All that is known about one file, and the summary of all files.

function makePreview(file) {
  const path = address(pathOf(file));
  const kind = played[extensionOf(file)];
  if (kind && path) {
    const player = make(kind, { controls: true, preload: 'metadata' });
    player.addEventListener('error', () => player.replaceWith(make('p', { className: 'no-preview muted' },
      'This browser cannot play it.')));
    player.src = path;
    return player;
  }
  if (pictureOf(file)) {
    return makePicture(file, `Picture in ${nameOf(file)}`);
  }
  return make('p', { className: 'no-preview muted' }, shown.has(extensionOf(file)) && !isSmallEnough(file)
    ? 'No preview: the picture is too large for a page.' : `No preview of ${typeNameOf(file)}.`);
}

function describePlace(file) {
  const start = files.start[file];
  const byte = start * data.sectorSize;
  const pieces = extentsOf(file);
  return `sector ${formatNumber(start)}, byte ${formatNumber(byte)} (0x${byte.toString(16)})`
    + (pieces.length > 1 ? `, in ${pieces.length} pieces: `
      + pieces.slice(0, 20).map(([sector, bytes]) => `${formatSize(bytes)} at ${formatNumber(sector)}`).join(', ')
      + (pieces.length > 20 ? ', …' : '') : '');
}

function describeTimes(file) {
  return ['created', 'modified', 'accessed', 'changed'].map((what) => [what, fieldOf(what, file)])
    .filter(([, seconds]) => seconds !== undefined)
    .map(([what, seconds]) => `${what} ${new Date(seconds * 1000).toISOString().slice(0, 19).replace('T', ' ')} UTC`)
    .join(', ');
}

function factsOf(file) {
  const number = (name) => (fieldOf(name, file) === undefined ? '' : formatSize(fieldOf(name, file)));
  const size = files.size[file];
  const parts = fieldOf('embedded', file) ?? [];
  return [
    ['Verdict', make('span', {}, verdictBadge(files.verdict[file]), ` ${whyOf(file)}`)],
    ['Type', typeNameOf(file) + (fieldOf('alsoTypes', file) ? `; also claimed by ${fieldOf('alsoTypes', file)}` : '')],
    ['Size', size < 1024 ? formatSize(size) : `${formatSize(size)} (${formatNumber(size)} bytes)`],
    ['Reported size', number('reported')],
    ['Original name', originalOf(file)],
    ['Times', describeTimes(file)],
    ['Taken', takenOf(file).replace('T', ' ')],
    ['Pixels', pixelsOf(file) ? `${fieldOf('width', file)} × ${fieldOf('height', file)}` : ''],
    ['Title', fieldOf('title', file)],
    ['Camera', fieldOf('camera', file)],
    ['Place', describePlace(file)],
    ['Unreadable', number('unreadable') && `${number('unreadable')}: zeros stand in their place`],
    ['Notes', fieldOf('flags', file)],
    ['Inside of', fieldOf('container', file)],
    ['Holds', parts.length > 0 ? make('ul', {}, ...parts.slice(0, 200).map(([sector, extension, bytes, verdict]) =>
      make('li', {}, `${extension} at sector ${formatNumber(sector)}, ${formatSize(bytes)}, ${verdicts[verdict]}`)),
    parts.length > 200 ? make('li', {}, `and ${formatNumber(parts.length - 200)} more`) : null) : ''],
    ['File', make('code', {}, pathOf(file))],
    ['SHA-256', make('code', {}, hashOf(file))],
  ].filter(([, value]) => value);
}

function copyButton(text, label) {
  const button = make('button', { type: 'button' }, label);
  button.addEventListener('click', async () => {
    try {
      await navigator.clipboard.writeText(text);
      button.textContent = 'Copied';
    } catch {
      button.textContent = 'Copying is not allowed here';
    }
  });
  return button;
}

function closeButton(dialog) {
  const button = make('button', { type: 'button', className: 'quiet close', 'aria-label': 'Close' }, '✕');
  button.addEventListener('click', () => dialog.close());
  return button;
}

// `step(n)` shows the file that is n places further on in the list.
function showDetails(file, step) {
  const dialog = byId('details');
  const path = address(pathOf(file));
  const mayOpen = path && opened.has(extensionOf(file));
  const go = (label, by) => {
    const button = make('button', { type: 'button', className: 'quiet', 'aria-label': label }, by < 0 ? '←' : '→');
    button.addEventListener('click', () => step(by));
    return button;
  };
  dialog.replaceChildren(
    make('div', { className: 'drawer-head' },
      make('h2', { id: 'details-title', tabIndex: -1 }, nameOf(file)), go('Previous file', -1), go('Next file', 1),
      closeButton(dialog)),
    make('div', { className: 'preview' }, makePreview(file)),
    make('dl', { className: 'facts' }, ...factsOf(file).flatMap(([name, value]) => [make('dt', {}, name), make('dd', {}, value)])),
    make('p', { className: 'drawer-actions' },
      mayOpen ? make('a', { className: 'button', href: path, target: '_blank', rel: 'noopener noreferrer' }, 'Open') : null,
      copyButton(pathOf(file), 'Copy path'), copyButton(hashOf(file), 'Copy hash')),
    mayOpen ? '' : make('p', { className: 'muted' },
      'This page does not open it, since a browser might run what it contains. Use a program that you trust.'));
  if (!dialog.open) {
    dialog.showModal();
  }
  byId('details-title').focus();
}

function countTypes() {
  const rows = data.types.map(([extension]) => ({ extension, ...noFiles() }));
  for (let file = 0; file < files.count; ++file) {
    const row = rows[files.type[file]];
    ++row.files;
    row.bytes += files.size[file];
    ++row.by[files.verdict[file]];
  }
  return rows;
}

function addRows(into, row) {
  into.files += row.files;
  into.bytes += row.bytes;
  row.by.forEach((count, i) => (into.by[i] += count));
  return into;
}

const noFiles = () => ({ files: 0, bytes: 0, by: [0, 0, 0, 0] });

function countTable(types) {
  const line = (name, row) => make('tr', {}, make('th', { scope: 'row' }, name),
    ...[formatNumber(row.files), ...row.by.map(formatNumber), formatSize(row.bytes)].map((text) => make('td', {}, text)));
  const groups = groupNames.map((name, group) =>
    [name, types.filter((_, i) => groupOfType[i] === group).reduce(addRows, noFiles())]);
  return make('table', {}, make('thead', {}, make('tr', {},
    ...['Kind', 'Files', ...verdicts, 'Size'].map((name) => make('th', { scope: 'col' }, name)))),
  make('tbody', {}, ...groups.filter(([, row]) => row.files > 0).map(([name, row]) => line(name, row))),
  make('tfoot', {}, line('All', types.reduce(addRows, noFiles()))));
}

// The summary, for print.
function fillSummary() {
  const dialog = byId('summary');
  const types = countTypes();
  const byCount = new Map();
  types.forEach(({ extension, files: count }) => byCount.set(extension, (byCount.get(extension) ?? 0) + count));
  const print = make('button', { type: 'button' }, 'Print');
  print.addEventListener('click', () => window.print());
  const map = make('canvas', { className: 'summary-map', role: 'img', 'aria-label': 'Map of the medium' });
  const unreadable = data.unreadable.reduce((sum, [, count]) => sum + count, 0);
  dialog.replaceChildren(
    make('div', { className: 'drawer-head' }, make('h2', { id: 'summary-title' }, 'Summary'), print, closeButton(dialog)),
    make('p', { className: 'lead' }, describeResult(types.reduce(addRows, noFiles()))),
    make('dl', { className: 'facts' }, ...[
      ['Medium', data.image], ['Its size', `${formatSize(data.imageSize)} (${formatNumber(data.imageSize)} bytes)`],
      ['Sectors', `of ${data.sectorSize} bytes; ${unreadable ? `${formatNumber(unreadable)} could not be read` : 'all were read'}`],
      ['Run', data.isComplete ? 'complete' : 'stopped before its end'],
      ['Page made', `${new Date(data.made * 1000).toLocaleString()} by ${data.program}`],
    ].flatMap(([name, value]) => [make('dt', {}, name), make('dd', {}, value)])),
    map, byId('legend').cloneNode(true), countTable(types),
    make('h3', {}, 'What the verdicts mean'),
    make('dl', { className: 'facts' }, ...verdicts.flatMap((name, verdict) =>
      (files.verdict.includes(verdict) ? [make('dt', {}, verdictBadge(verdict)), make('dd', {}, verdictMeanings[verdict])] : []))),
    make('h3', {}, 'By extension'),
    make('ul', { className: 'by-extension' }, ...Array.from(byCount).sort((a, b) => b[1] - a[1]).map(([extension, count]) =>
      make('li', {}, `${extension} `, make('b', {}, formatNumber(count))))),
    ...(Object.keys(data.notWritten).length > 0 ? [make('h3', {}, 'Not written'),
      make('ul', {}, ...Object.entries(data.notWritten).map(([reason, count]) =>
        make('li', {}, `${formatNumber(count)}: ${reason}`)))] : []));
  return map;
}
