// Where the rows of the timeline stand, from the top down, and what of each is shown.
//
// A block: { kind, name, top, height } and
//   'lane'     lane      what became of a sensor
//   'side'               the name of the run whose blocks follow
//   'powered'  side      how many sensors were powered
//   'row'      row, marks (indices), levels: for each depth { index, begin, end }, lists by time

export const BAR = 18, MARKS = 9, LANE = 22, SIDE = 26, POWERED = 44, GAP = 6, PROCESSOR = 8;

export function layoutOf(model, filter) {
  const blocks = [];
  let top = 0;
  const add = (block) => {
    blocks.push({ ...block, top });
    top += block.height;
  };
  const rows = shownRows(model, filter);
  model.sides.forEach((side, number) => {
    if (filter.sides.size > 0 && !filter.sides.has(number)) return;
    if (side.name) add({ kind: 'side', name: side.name, height: SIDE });
    for (const lane of model.lanes) {
      if (model.sideOf(lane) === number && model.isLaneShown(lane, filter)) add({ kind: 'lane', name: lane.name, lane, height: LANE });
    }
    if (filter.clients.size + filter.sensors.size === 0) add({ kind: 'powered', name: 'sensors powered', side, height: POWERED });
    for (const row of rows) {
      const { name, processor } = model.rows[row.row];
      if (model.sideOf(model.rows[row.row]) !== number) continue;
      add({ kind: 'row', name, processor, ...row,
        height: MARKS + Math.max(1, row.levels.length) * BAR + (processor ? PROCESSOR : 0) + GAP });
    }
  });
  return { blocks, height: top };
}

function shownRows(model, filter) {
  const { row, depth, begin, end } = model.sections;
  const rows = model.rows.map((_, index) => ({ row: index, levels: [], marks: [], times: [] }));
  for (let i = 0; i < model.count; ++i) {
    if (!model.isShown(i, filter)) continue;
    const levels = rows[row[i]].levels;
    while (levels.length <= depth[i]) levels.push({ index: [], begin: [], end: [] });
    const level = levels[depth[i]];
    level.index.push(i);
    level.begin.push(begin[i]);
    level.end.push(end[i]);
  }
  for (let mark = 0; mark < model.marks.row.length; ++mark) {
    if (!model.isMarkShown(mark, filter)) continue;
    rows[model.marks.row[mark]].marks.push(mark);
    rows[model.marks.row[mark]].times.push(model.marks.time[mark]);
  }
  return rows.filter(({ levels, marks }) => levels.length > 0 || marks.length > 0);
}

// The block that stands at a height; undefined: none.
export const blockAt = (layout, y) =>
  layout.blocks.find(({ top, height }) => y >= top && y < top + height);

// The height of a section's bar.
export function barTop(layout, model, section) {
  const row = model.sections.row[section];
  const block = layout.blocks.find((each) => each.kind === 'row' && each.row === row);
  return block ? block.top + MARKS + model.sections.depth[section] * BAR : null;
}
