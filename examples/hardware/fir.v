// A filter of finite response: one sample in, one result out a clock. Sums are exact; each result is rounded once, to the
// nearest word, ties to the even one, and brought into range.
`timescale 1ns / 1ns
module fir #(
    parameter X_WIDTH = 16, X_FRACTION = 12,
    parameter C_WIDTH = 16, C_FRACTION = 18, TAPS = 65,
    parameter Y_WIDTH = 16, Y_FRACTION = 13
) (
    input wire clock,
    input wire signed [X_WIDTH-1:0] x,
    output reg signed [Y_WIDTH-1:0] y
);
  localparam SUM_WIDTH = X_WIDTH + C_WIDTH + $clog2(TAPS);
  localparam SHIFT = X_FRACTION + C_FRACTION - Y_FRACTION;  // bits that a result does not have; one at least
  localparam signed [SUM_WIDTH-1:0] LARGEST = (1 <<< (Y_WIDTH - 1)) - 1, SMALLEST = -(1 <<< (Y_WIDTH - 1));

  reg signed [C_WIDTH-1:0] coefficients[0:TAPS-1];
  reg signed [X_WIDTH-1:0] line[0:TAPS-1];
  reg signed [SUM_WIDTH-1:0] sum, rounded;
  integer k;

  initial begin
    $readmemh("c.memh", coefficients);
    for (k = 0; k < TAPS; k = k + 1) line[k] = 0;
  end

  wire [SHIFT-1:0] rest = sum[SHIFT-1:0];
  wire [SHIFT-1:0] half = {1'b1, {(SHIFT - 1) {1'b0}}};

  always @(posedge clock) begin
    for (k = TAPS - 1; k > 0; k = k - 1) line[k] = line[k-1];
    line[0] = x;
    sum = 0;
    for (k = 0; k < TAPS; k = k + 1) sum = sum + line[k] * coefficients[k];
  end

  always @(*) begin
    rounded = sum >>> SHIFT;
    if (rest > half || (rest == half && sum[SHIFT])) rounded = rounded + 1;
    if (rounded > LARGEST) rounded = LARGEST;
    if (rounded < SMALLEST) rounded = SMALLEST;
    y = rounded[Y_WIDTH-1:0];
  end
endmodule
