// SPDX-License-Identifier: BSD-3-Clause
// Decodes a LAZ file with laz-perf and compares its points with the records of a LAS file.
// Usage: node compare_laz.cjs MAP.laz MAP.las
const { readFileSync } = require('fs')
const { createLazPerf } = require('laz-perf')

async function compare(lazName, lasName) {
  const laz = readFileSync(lazName)
  const las = readFileSync(lasName)
  const wanted = las.readUInt32LE(107)
  const size = las.readUInt16LE(105)
  const first = las.readUInt32LE(96)
  const perf = await createLazPerf()
  const file = perf._malloc(laz.length)
  perf.HEAPU8.set(laz, file)
  const reader = new perf.LASZip()
  reader.open(file, laz.length)
  if (reader.getCount() !== wanted || reader.getPointLength() !== size)
    throw new Error(`${reader.getCount()} points of ${reader.getPointLength()} bytes, not ${wanted} of ${size}`)
  const point = perf._malloc(size)
  for (let i = 0; i < wanted; ++i) {
    reader.getPoint(point)
    const begin = first + i * size
    if (las.compare(perf.HEAPU8, point, point + size, begin, begin + size) !== 0)
      throw new Error(`point ${i} differs`)
  }
  console.log(`${wanted} points are the same, ${(100 * laz.length / las.length).toFixed(1)} % of the size`)
}

compare(process.argv[2], process.argv[3]).catch((error) => {
  console.error(`${process.argv[2]}: ${error.message || error}`)
  process.exit(1)
})
