// Feeds the filter the words of x.memh and writes its results to y_found.memh.
`timescale 1ns / 1ns
module fir_bench;
  `include "vectors.vh"
  reg clock = 0;
  reg signed [X_WIDTH-1:0] x = 0;
  reg [X_WIDTH-1:0] samples[0:X_COUNT-1];
  wire signed [Y_WIDTH-1:0] y;
  integer k, file;

  fir #(
      .X_WIDTH(X_WIDTH), .X_FRACTION(X_FRACTION), .C_WIDTH(C_WIDTH), .C_FRACTION(C_FRACTION), .TAPS(C_COUNT),
      .Y_WIDTH(Y_WIDTH), .Y_FRACTION(Y_FRACTION)
  ) dut (
      .clock(clock), .x(x), .y(y)
  );

  initial begin
    $readmemh("x.memh", samples);
    file = $fopen("y_found.memh", "w");
    for (k = 0; k < X_COUNT; k = k + 1) begin
      x = samples[k];
      #1 clock = 1;
      #1 $fdisplay(file, "%h", y);
      clock = 0;
    end
    $fclose(file);
    $finish;
  end
endmodule
