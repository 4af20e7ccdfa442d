// Translates with the reference implementation, the npm package @browsermt/bergamot-translator. Not part of any test:
// it makes what tests compare with (golden/regenerate), and what benchmarks are set beside.
//
//   ENGINE=.../worker node reference.cjs FOLDER PRECISION [REPETITIONS] < sentences
//
// FOLDER holds model.bin, source.spm, target.spm and perhaps shortlist.bin. PRECISION is float32 or int8shiftAlphaAll.
// Prints each sentence, a tab and its translation; with REPETITIONS the shortest time in ms of processor behind another
// tab. The environment's JOIN=1 takes all sentences as one text, and LONGEST is the number of tokens beyond which a
// sentence is cut. The last lines printed to stderr are how long loading took, and the memory that was added.
const fs = require('fs');
const path = require('path');
const engine = process.env.ENGINE;
const [folder, precision, repetitions] = process.argv.slice(2);
const lines = fs.readFileSync(0, 'utf8').split('\n').filter(Boolean);
const texts = process.env.JOIN ? [lines.join('\n')] : lines;

// Byte products come from the engine's own fallback, as they do wherever the browser has none.
const products = {
    int8_prepare_a: 'int8PrepareAFallback',
    int8_prepare_b: 'int8PrepareBFallback',
    int8_prepare_b_from_transposed: 'int8PrepareBFromTransposedFallback',
    int8_prepare_b_from_quantized_transposed: 'int8PrepareBFromQuantizedTransposedFallback',
    int8_prepare_bias: 'int8PrepareBiasFallback',
    int8_multiply_and_add_bias: 'int8MultiplyAndAddBiasFallback',
    int8_select_columns_of_b: 'int8SelectColumnsOfBFallback',
};

function inMemory(file, alignment) {
    const bytes = fs.existsSync(file) ? fs.readFileSync(file) : Buffer.alloc(0);
    const memory = new Module.AlignedMemory(bytes.length, alignment);
    memory.getByteArrayView().set(new Int8Array(bytes.buffer, bytes.byteOffset, bytes.length));
    return memory;
}

function translateAll() {
    const before = process.memoryUsage().rss;
    const vocabularies = new Module.AlignedMemoryList();
    const files = ['source.spm', 'target.spm'].map((name) => path.join(folder, name));
    const areShared = fs.readFileSync(files[0]).equals(fs.readFileSync(files[1])) && !process.env.SEPARATE;
    for (const file of areShared ? files.slice(0, 1) : files)
        vocabularies.push_back(inMemory(file, 64));
    const configuration = `
beam-size: 1
normalize: 1.0
word-penalty: 0
cpu-threads: 0
gemm-precision: ${precision}
skip-cost: true
alignment: soft
quiet: true
quiet-translation: true
max-length-break: ${process.env.LONGEST || 128}
mini-batch-words: 1024
workspace: 128
max-length-factor: 2.0
`;
    const service = new Module.BlockingService({ cacheSize: 0 });
    const beginOfLoading = process.hrtime.bigint();
    const model = new Module.TranslationModel(configuration, inMemory(path.join(folder, 'model.bin'), 256),
        inMemory(path.join(folder, 'shortlist.bin'), 64), vocabularies, null);
    console.error(`${Number(process.hrtime.bigint() - beginOfLoading) / 1e6} ms`);
    for (const text of texts) {
        let shortest = Infinity;
        let translation;
        for (let i = 0; i < Number(repetitions || 1); ++i) {
            const input = new Module.VectorString();
            input.push_back(text);
            const options = new Module.VectorResponseOptions();
            options.push_back({ alignment: false, html: false, qualityScores: false });
            const begin = process.cpuUsage();
            const response = service.translate(model, input, options);
            const { user, system } = process.cpuUsage(begin);
            shortest = Math.min(shortest, (user + system) / 1000);
            translation = response.get(0).getTranslatedText();
            for (const object of [response, input, options])
                object.delete();
        }
        console.log([text, translation].concat(repetitions ? [shortest.toFixed(2)] : [])
            .map((column) => column.replace(/\n/g, ' ')).join('\t'));
    }
    console.error(`${((process.memoryUsage().rss - before) / 1048576).toFixed(1)} MB`);
}

global.Module = {
    wasmBinary: fs.readFileSync(path.join(engine, 'bergamot-translator-worker.wasm')),
    printErr: (line) => console.error(line),
    instantiateWasm(imports, accept) {
        const gemm = Object.fromEntries(Object.entries(products)
            .map(([name, fallback]) => [name, (...values) => Module.asm[fallback](...values)]));
        WebAssembly.instantiate(Module.wasmBinary, { ...imports, wasm_gemm: gemm })
            .then(({ instance }) => accept(instance));
        return {};
    },
    onRuntimeInitialized: translateAll,
};
(0, eval)(fs.readFileSync(path.join(engine, 'bergamot-translator-worker.js'), 'utf8'));
